#include "platform/client/ldif/store.h"

#include <fcntl.h>
#include <algorithm>
#include <deque>
#include <utility>

#include "platform/catalogue.h"
#include "platform/client/core/descriptor.h"
#include "platform/client/core/entry_find.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/nested_groups.h"
#include "platform/client/core/password.h"
#include "platform/client/core/plain_values.h"
#include "platform/client/core/values.h"
#include "platform/client/ldif/entries.h"
#include "platform/client/ldif/script_change.h"
#include "platform/zk.h"

namespace {

struct Other {
    uint32_t user;
    std::string name;
    SchemaAttribute row;
    OtherAttribute found;
};

class LdifStore : public DirectoryStore {
  public:
    LdifStore(LdifReader reader, std::string treeName, const Name &base, const LdifOptions &options, LdifForm form)
        : entries_(std::move(reader), base, form), shown_(std::move(treeName)), options_(options) {}

    size_t size() const { return entries_.size(); }

    const Name &base() const override { return entries_.treeBase(); }
    EntryPtr find(const Name &name, Aliases aliases) override;
    std::vector<Name> groupsOf(const Entry &entry) override;
    std::vector<EntryPtr> usersNamed(const std::string &value) override;
    std::vector<Name> usersBelow(const Name &container) override;
    const OtherAttribute *otherAttribute(const Entry &user, std::string_view name) override;
    EntryPtr findServer(std::string_view name) override;
    EntryPtr findVolume(const Entry &server, std::string_view volume) override;
    std::vector<EntryPtr> volumes() override;
    Verdict checkPassword(const Entry &entry, const char *password) override;
    void changePassword(const Entry &entry, const char *oldPassword, const char *newPassword) override;
    StoredScript readScript(const Entry &entry) override;
    void writeScript(const Entry &entry, const ScriptText &before, const ScriptText &after) override;
    bool scriptIsPrivate(const Entry &entry) override;
    std::vector<EntryPtr> scripts() override;

    void setFile(const std::string &path) { path_ = path; }

  private:
    bool isShown(const Entry &entry) const { return options_.anyName || entry_name_is_plain(entry); }

    std::vector<Name> directGroupsOf(const Name &member);
    LdifFile file() const;

    LdifEntries entries_;
    std::string path_;  // empty: of a text
    std::string shown_; // the file, for messages
    LdifOptions options_;
    std::deque<Other> others_; // those that were asked for
};

EntryPtr LdifStore::find(const Name &name, Aliases aliases) {
    auto at = [this](const Name &wanted) -> EntryPtr {
        const uint32_t number = entries_.numberOf(wanted);
        const EntryPtr found = number == no_name ? nullptr : entries_.entry(number);
        return found == nullptr || !isShown(*found) ? nullptr : found;
    };
    return entry_find(name, aliases, base(), at, at);
}

std::vector<EntryPtr> LdifStore::usersNamed(const std::string &value) {
    const std::string wanted = name_fold(value);
    std::vector<const SchemaAttribute *> naming;
    for (const std::string &attribute : options_.loginAttributes) naming.push_back(schema_find_ldap(attribute));
    std::vector<EntryPtr> found;
    for (uint32_t number = 0; number < entries_.size(); number++) {
        const std::shared_ptr<Entry> user = entries_.made(number);
        const auto isIt = [&](const EntryValue &one) {
            return std::find(naming.begin(), naming.end(), one.attribute) != naming.end() &&
                   name_fold(one.text) == wanted;
        };
        if (user->isClass("User") && isShown(*user) && std::any_of(user->values.begin(), user->values.end(), isIt))
            found.push_back(entries_.entry(number));
    }
    return found;
}

std::vector<Name> LdifStore::usersBelow(const Name &container) {
    std::vector<Name> found;
    for (uint32_t number = 0; number < entries_.size(); number++) {
        const std::shared_ptr<Entry> user = entries_.made(number);
        const Name &name = user->name;
        if (user->isClass("User") && isShown(*user) && name.size() > container.size() &&
            name_equal(name_above(name, name.size() - container.size()), container))
            found.push_back(name);
    }
    return found;
}

// A file has no schema for what the client's own does not have: each value is a text.
const OtherAttribute *LdifStore::otherAttribute(const Entry &user, std::string_view name) {
    std::string wanted(name);
    wanted.erase(std::remove(wanted.begin(), wanted.end(), '_'), wanted.end());
    const uint32_t number = entries_.numberOf(user.name);
    if (number == no_name || attribute_is_secret(wanted) || wanted.size() > ZK_MAX_ATTR_NAME) return nullptr;
    for (const Other &known : others_)
        if (known.user == number && equal_nocase(known.name, wanted)) return &known.found;
    std::string spelled;
    std::vector<std::string> values = entries_.otherValues(number, wanted, &spelled);
    if (values.empty()) return nullptr;
    Other &other = others_.emplace_back();
    other.user = number;
    other.name = spelled;
    other.row = {other.name.c_str(), other.name.c_str(), schema_text, size_t{64} * 1024};
    other.found = {&other.row, std::move(values)};
    return &other.found;
}

std::vector<Name> LdifStore::groupsOf(const Entry &entry) {
    std::vector<Name> groups = directGroupsOf(entry.name);
    if (options_.nestedGroups) {
        const auto level = [this](const std::vector<Name> &members) {
            std::vector<Name> found;
            for (const Name &member : members)
                for (Name &group : directGroupsOf(member)) found.push_back(std::move(group));
            return found;
        };
        nested_groups_add(shown_, entry.name, level, &groups);
    }
    return groups;
}

std::vector<Name> LdifStore::directGroupsOf(const Name &memberName) {
    std::vector<Name> found;
    for (uint32_t number : entries_.groupsPerhapsWith(memberName)) {
        const std::shared_ptr<Entry> group = entries_.made(number);
        const auto isIt = [&](const EntryValue &value) {
            return ldif_is_member(value.attribute) &&
                   name_equal(value_parse(schema_dn, value.text, base()).name, memberName);
        };
        if (std::any_of(group->values.begin(), group->values.end(), isIt)) found.push_back(group->name);
    }
    return found;
}

EntryPtr LdifStore::findServer(std::string_view name) {
    for (uint32_t number : entries_.servers()) {
        EntryPtr server = entries_.entry(number);
        if (isShown(*server) && entry_is_server(*server, name)) return server;
    }
    return nullptr;
}

EntryPtr LdifStore::findVolume(const Entry &server, std::string_view volume) {
    for (uint32_t number : entries_.volumes()) {
        EntryPtr found = entries_.entry(number);
        if (entry_is_volume(*found, server, volume, base())) return found;
    }
    return nullptr;
}

std::vector<EntryPtr> LdifStore::volumes() {
    std::vector<EntryPtr> found;
    for (uint32_t number : entries_.volumes()) found.push_back(entries_.entry(number));
    return found;
}

// An empty password is wrong whatever the entry has: servers take it for an anonymous login.
Verdict LdifStore::checkPassword(const Entry &entry, const char *password) {
    const SchemaAttribute *row = schema_find_ldap("userPassword");
    for (const EntryValue &value : entry.values)
        if (value.attribute == row && *password != '\0' && password_matches(value.text, password))
            return Verdict::accepted;
    const std::string unusable = entries_.unusablePassword(entries_.numberOf(entry.name));
    if (!unusable.empty()) throw DataError(unusable);
    return Verdict::wrongPassword;
}

// Whoever could write the file could write any user's password.
void LdifStore::changePassword(const Entry &, const char *, const char *) {
    throw CodedError(ZKE_NO_ACCESS,
                     catalogue_text("the passwords of this tree are in a file, which only its administrator changes"));
}

LdifFile LdifStore::file() const {
    error_unless(!path_.empty(), ZKE_NO_ACCESS);
    return {path_, shown_, base(), options_.timeLimit};
}

StoredScript LdifStore::readScript(const Entry &entry) {
    return ldif_script_read(file(), entry.name);
}

void LdifStore::writeScript(const Entry &entry, const ScriptText &before, const ScriptText &after) {
    ldif_script_write(file(), entry.name, before, after);
}

bool LdifStore::scriptIsPrivate(const Entry &entry) {
    const uint32_t number = entries_.numberOf(entry.name);
    if (path_.empty() || number == no_name) return false;
    const std::string path = entries_.fileOf(number, schema_find_ldap("qrtLoginScript"));
    return !descriptor_is_for_all(Descriptor(open(path.c_str(), O_PATH | O_CLOEXEC)));
}

std::vector<EntryPtr> LdifStore::scripts() {
    std::vector<EntryPtr> found;
    for (uint32_t number = 0; number < entries_.size(); number++) {
        EntryPtr one = entries_.made(number);
        if (one->first("qrtLoginScript") != nullptr && isShown(*one)) found.push_back(std::move(one));
    }
    return found;
}

} // namespace

std::unique_ptr<DirectoryStore> ldif_store_load(const std::string &path, const std::string &shown, const Name &base,
                                                size_t *objects, const LdifOptions &options) {
    auto store =
        std::make_unique<LdifStore>(LdifReader(path, shown, options.timeLimit), shown, base, options, LdifForm::tree);
    store->setFile(path);
    if (objects != nullptr) *objects = store->size();
    return store;
}

std::unique_ptr<DirectoryStore> ldif_store_load(LdifText text, const std::string &shown, const Name &base) {
    LdifOptions options;
    options.anyName = true;
    return std::make_unique<LdifStore>(LdifReader(std::move(text), shown), shown, base, options, LdifForm::copy);
}

std::unique_ptr<DirectoryStore> ldif_store_load_addition(LdifText text, const std::string &shown, const Name &base,
                                                         const LdifOptions &options) {
    return std::make_unique<LdifStore>(LdifReader(std::move(text), shown), shown, base, options, LdifForm::addition);
}
