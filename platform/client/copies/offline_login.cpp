#include "platform/client/copies/offline_login.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

#include "platform/catalogue.h"
#include "platform/client/copies/copy.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/password.h"

static LdapCopy copy_of(const ConfigTree &config, const Name &base, const Name &user) {
    return LdapCopy(config, base, "login\n" + name_typed_key(user));
}

// Attributes outside of the schema have one of the copy's own, so that none can be taken for what it is not:
//
//     value ::= syntax " " name " " value              syntax: the number of the client's
static const SchemaAttribute kept_other = {nullptr, "x-other", schema_text, size_t{128} * 1024};

static EntryPtr group_with(const Name &group, const std::string &memberDn) {
    auto entry = std::make_shared<Entry>();
    entry->name = group;
    entry->values.push_back({schema_find_ldap("objectClass"), "groupOfNames"});
    if (const SchemaAttribute *naming = schema_find_ldap(group.front().type))
        entry->values.push_back({naming, group.front().value});
    entry->values.push_back({schema_find_ldap("member"), memberDn});
    return entry;
}

// "3 minutes", "2 days"
static std::string age_text(unsigned long seconds) {
    constexpr unsigned long minute = 60, hour = 3600, day = 86400;
    char text[128];
    // TRANSLATORS: how old a copy is, as it stands in "using the copy made 3 minutes ago"
    if (seconds >= day)
        snprintf(text, sizeof text, catalogue_plural("%lu day", "%lu days", seconds / day), seconds / day);
    else if (seconds >= hour)
        snprintf(text, sizeof text, catalogue_plural("%lu hour", "%lu hours", seconds / hour), seconds / hour);
    else if (seconds >= minute)
        snprintf(text, sizeof text, catalogue_plural("%lu minute", "%lu minutes", seconds / minute), seconds / minute);
    else
        snprintf(text, sizeof text, catalogue_plural("%lu second", "%lu seconds", seconds), seconds);
    return text;
}

// Names by an attribute, and those without types, lead to the user's own name.
static LdapCopy typed_copy_of(const ConfigTree &config, const Name &base, const std::string &key) {
    return LdapCopy(config, base, "typed\n" + key);
}

// As which a name may have been kept, the likely one last: an account has several forms, and what a server says of one
// of them is true of all.
static std::vector<std::string> keys_of(const LoginName &typed) {
    if (!typed.account.empty()) return {name_fold(typed.account)};
    std::vector<std::string> keys;
    const size_t at = typed.attribute.rfind('@');
    if (at != std::string::npos) keys.push_back(name_fold(typed.attribute.substr(0, at)));
    if (!typed.attribute.empty()) keys.push_back(name_fold(typed.attribute));
    return keys;
}

static bool has_types(const Name &name) {
    return std::none_of(
        name.begin(), name.end(), [](const NamePart &part) { return part.type.empty(); });
}

static Name without_types(Name name) {
    for (NamePart &part : name) part.type.clear();
    return name;
}

EntryPtr OfflineLogin::typedBefore(const std::string &key) const {
    time_t written = 0;
    EntryPtr user;
    typed_copy_of(config_, root_, key).read(&written, &user);
    return user;
}

// Users whose names differ in their types alone are not the same: without some of them a name means whom it meant
// before, as it was typed or without any.
EntryPtr OfflineLogin::objectBefore(const Name &typed) const {
    if (EntryPtr user = typedBefore(name_typed_key(typed))) return user;
    EntryPtr user = typedBefore(name_typed_key(without_types(typed)));
    return user != nullptr && name_may_be(typed, user->name) ? user : nullptr;
}

std::vector<Name> OfflineLogin::meant(const LoginName &typed) const {
    std::vector<Name> names;
    for (const std::string &key : keys_of(typed))
        if (const EntryPtr user = typedBefore(key)) names.insert(names.begin(), user->name);
    for (const Name &object : typed.objects) {
        const EntryPtr user = has_types(object) ? nullptr : objectBefore(object);
        if (user != nullptr || has_types(object)) names.push_back(user == nullptr ? object : user->name);
    }
    return names;
}

void OfflineLogin::keep(const EntryPtr &who, const LoginName &typed, const char *password) {
    const auto point = [&](const std::string &name) { typed_copy_of(config_, root_, name).write({}, who); };
    const auto isWho = [&](const Name &name) { return name_key(name) == name_key(who->name); };
    const auto object = std::find_if(typed.objects.begin(), typed.objects.end(), isWho);
    const bool isObject = object != typed.objects.end();
    if (isObject && !has_types(*object)) point(name_typed_key(*object));
    if (!isObject && !typed.attribute.empty()) point(name_fold(typed.attribute));
    if (!who->dn.empty()) point(name_fold(who->name.front().value));
    const std::string bare = name_typed_key(without_types(who->name));
    if (typedBefore(bare) == nullptr) point(bare);
    if (user_ != who) asked_.clear(); // a login; a change of the password leaves what was asked for
    user_ = who;
    passwordHash_ = password_hash("$y$", 0, password);
}

bool OfflineLogin::keepOther(const OtherAttribute &asked) {
    constexpr size_t most = size_t{256} * 1024; // bytes of all of them
    const std::string name = asked.row->ldap;
    const std::string start = std::to_string(asked.row->syntax) + " " + name + " ";
    size_t size = 0;
    for (const EntryValue &value : asked_) {
        if (value.text.compare(0, start.size(), start) == 0) return false;
        size += value.text.size();
    }
    for (const std::string &value : asked.values) size += start.size() + value.size();
    if (size > most || name.find(' ') != std::string::npos) return false;
    for (const std::string &value : asked.values) asked_.push_back({&kept_other, start + value});
    return true;
}

namespace {

struct KeptOther {
    uint32_t syntax = 0;
    std::string name;
    std::vector<std::string> values;
};

} // namespace

// The values of one attribute stand together.
static std::vector<KeptOther> others_in(const std::vector<std::string> &lines) {
    std::vector<KeptOther> found;
    for (const std::string &line : lines) {
        const size_t first = line.find(' ');
        const size_t second = first == std::string::npos ? first : line.find(' ', first + 1);
        if (second == std::string::npos) continue;
        KeptOther one;
        const char *const end = line.data() + first;
        if (std::from_chars(line.data(), end, one.syntax).ptr != end) continue;
        one.name = line.substr(first + 1, second - first - 1);
        if (found.empty() || found.back().name != one.name) found.push_back(std::move(one));
        found.back().values.push_back(line.substr(second + 1));
    }
    return found;
}

const OtherAttribute *OfflineLogin::otherAttribute(const Entry &user, std::string_view name) {
    if (!othersRead_) {
        const OtherAttribute *kept = copy_->otherAttribute(user, kept_other.ldap);
        for (const KeptOther &one : others_in(kept == nullptr ? std::vector<std::string>() : kept->values))
            others_.add(one.name, one.values, one.syntax, root_);
    }
    othersRead_ = true;
    return others_.find(name);
}

void OfflineLogin::save(const std::vector<EntryPtr> &entries, const std::vector<Name> &groups) const {
    if (user_ == nullptr || passwordHash_.empty()) return;
    // First of its name, so that it is the one that is written.
    auto withPassword = std::make_shared<Entry>(*user_);
    withPassword->values.push_back({schema_find_ldap("userPassword"), passwordHash_});
    withPassword->values.insert(withPassword->values.end(), asked_.begin(), asked_.end());
    std::vector<EntryPtr> all = {withPassword};
    all.insert(all.end(), entries.begin(), entries.end());
    std::string dn = name_to_dn(user_->name, root_);
    for (const Name &group : groups)
        if (!group.empty()) all.push_back(group_with(group, dn));
    copy_of(config_, root_, user_->name).write(all);
}

std::unique_ptr<DirectoryStore> OfflineLogin::read(const Name &who, time_t *when) const {
    return copy_of(config_, root_, who).read(when);
}

bool OfflineLogin::begin(const Name &who) {
    if (copy_ == nullptr) {
        copy_ = read(who, &written_);
        if (copy_ != nullptr && !ldap_copy_is_recent(written_, config_.ldap.offlineDays)) copy_.reset();
    }
    return copy_ != nullptr;
}

void OfflineLogin::refused(const Name &who) const {
    copy_of(config_, root_, who).remove();
}

void OfflineLogin::refusedPassword(const Name &who, const char *password) const {
    time_t when = 0;
    std::unique_ptr<DirectoryStore> kept = read(who, &when);
    const EntryPtr entry = kept == nullptr ? nullptr : kept->find(who, Aliases::keep);
    if (entry == nullptr) return;
    try {
        if (kept->checkPassword(*entry, password) == Verdict::accepted) refused(who);
    } catch (const DataError &) {
        // Its password is no hash, so that no login succeeds.
    }
}

Verdict OfflineLogin::login(const Entry &who, const char *password) const {
    const Verdict verdict = copy_->checkPassword(who, password);
    if (verdict == Verdict::accepted) {
        time_t age = time(nullptr) - written_;
        fprintf(stderr, catalogue_text("No server of tree %1$s answers: using the copy made %2$s ago.\n"),
                config_.name.c_str(), age_text(age < 0 ? 0 : static_cast<unsigned long>(age)).c_str());
    }
    return verdict;
}

void OfflineLogin::end() {
    copy_.reset();
    others_.forget();
    othersRead_ = false;
    asked_.clear();
    user_.reset();
    passwordHash_.clear();
}
