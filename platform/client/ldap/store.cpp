#include "platform/client/ldap/store.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <unordered_set>

#include "platform/catalogue.h"
#include "platform/client/core/entry_find.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/login_check.h"
#include "platform/client/core/nested_groups.h"
#include "platform/client/core/start_environment.h"
#include "platform/client/core/values.h"
#include "platform/client/core/waiting.h"
#include "platform/client/ldap/filter.h"
#include "platform/client/ldap/lock_end.h"
#include "platform/client/ldap/password_change.h"
#include "platform/client/ldap/verdict.h"

// Servers, volumes and directory maps, by the classes that the tree has for them.
static std::string site_filter(const SiteSchema &schema) {
    constexpr std::string_view classes[] = {"qrtServer", "qrtVolume", "qrtDirectoryMap"};
    std::vector<std::string> filters;
    for (const std::string_view name : classes) filters.push_back(filter_equal("objectClass", std::string(name)));
    for (const auto &[theirs, own] : schema.classes)
        if (std::find(std::begin(classes), std::end(classes), own) != std::end(classes))
            filters.push_back(filter_equal("objectClass", theirs));
    return filter_or(filters);
}

EntryPtr LdapStore::find(const Name &name, Aliases aliases) {
    auto at = [this](const Name &wanted) {
        return wanted.empty() && root_.empty() ? nullptr : objects_.lookup(wanted);
    };
    // Whatever was asked for a name has brought what there is above it.
    auto above = [this](const Name &wanted) { return objects_.kept(wanted); };
    return entry_find(name, aliases, root_, at, above);
}

static std::string user_filter(const SiteSchema &schema, const std::string &value) {
    std::vector<std::string> filters;
    for (const std::string &attribute : schema.loginAttributes) filters.push_back(filter_equal(attribute, value));
    return filter_or(filters);
}

std::vector<EntryPtr> LdapStore::usersNamed(const std::string &value) {
    constexpr int limit = 100; // what has the value and is no user may be among them
    const LdapAnswer answer =
        objects_.search(objects_.searchBase(), LDAP_SCOPE_SUBTREE, user_filter(objects_.schema(), value), false, limit);
    std::vector<EntryPtr> users;
    for (const LdapEntry &one : answer.entries) {
        const EntryPtr entry = objects_.keep(one);
        if (entry != nullptr && entry->isClass("User")) users.push_back(entry);
    }
    if (users.empty() && !answer.missing.empty()) throw LdapTrouble(answer.missingCode, answer.missing);
    return users;
}

// Whatever class of the directory's own means a user.
static std::string all_users_filter(const SiteSchema &schema) {
    const auto isUser = [](std::string_view name) { return schema_class_of({name})->base == std::string_view("User"); };
    std::vector<std::string> filters;
    for (const char *name : {"inetOrgPerson", "organizationalPerson", "person", "account", "posixAccount", "user"})
        filters.push_back(filter_equal("objectClass", name));
    for (const auto &[theirs, own] : schema.classes)
        if (isUser(own)) filters.push_back(filter_equal("objectClass", theirs));
    return filter_or(filters);
}

std::vector<Name> LdapStore::usersBelow(const Name &container) {
    const Name &below = container.size() < objects_.searchBase().size() ? objects_.searchBase() : container;
    LdapSearch wanted = {objects_.dnOf(below), LDAP_SCOPE_SUBTREE, all_users_filter(objects_.schema()),
                         objects_.attributes()};
    wanted.paged = true;
    const LdapAnswer answer = servers_.search(wanted);
    if (answer.result == LDAP_SIZELIMIT_EXCEEDED || answer.result == LDAP_ADMINLIMIT_EXCEEDED)
        throw DataError(
            catalogue_format("%1$s: the list of users is incomplete: server size limit exceeded after %2$zu",
                             tree_.name.c_str(), answer.entries.size()));
    if (!answer.missing.empty()) throw CodedError(answer.missingCode, answer.missing);
    std::vector<Name> users;
    for (const LdapEntry &one : answer.entries) {
        const EntryPtr entry = objects_.keep(one);
        if (entry != nullptr && entry->isClass("User")) users.push_back(entry->name);
    }
    return users;
}

// Who has logged in from here before is most likely there still: whether that is so turns out at the login. Only where
// the name would mean that object if there were others of the same name, too. A login without a password says what is
// wrong with it in other ways than by the user's name, with referrals the object's server has to be found, and the copy
// of a login for work offline is that of whom the server means.
EntryPtr LdapStore::findUser(const LoginName &name) {
    const bool mayAssume = !loggedIn_ && tree_.ldap.needsPassword() && !tree_.ldap.referrals && !tree_.ldap.offline &&
                           tree_.ldap.schema != SitePreset::automatic && name.objects.size() == 1 &&
                           !name.attributeFirst;
    account_ = {};
    assumed_ = mayAssume ? keeper_.lastReader() : nullptr;
    if (assumed_ != nullptr && !objects_.isOfAccounts() && name_key(assumed_->name) == name_key(name.objects.front())) {
        const std::optional<Name> likely = objects_.likely(name.objects.front());
        if (likely && name_equal(*likely, assumed_->name)) {
            assumedName_ = name;
            return assumed_;
        }
    }
    assumed_.reset();
    if (!objects_.isOfAccounts() || loggedIn_) return userSeen(name);
    account_ = accounts_.meant(name);
    return account_.entry;
}

// A directory that shows nothing anonymously does not say who exists: the usual form of the name is assumed.
EntryPtr LdapStore::userSeen(const LoginName &name) {
    if (EntryPtr user = DirectoryStore::findUser(name)) return user;
    const bool isMailName = name.attribute.find('@') != std::string::npos;
    for (const Name &object : name.objects) {
        const std::optional<Name> likely = isMailName ? std::nullopt : objects_.unseen(object);
        if (likely) return entry_unseen_user(*likely);
    }
    if (objects_.showsNothing() && name.attributeFirst) {
        if (!isMailName) { // one without a container is right below the place where users are searched
            Name user = objects_.searchBase();
            user.insert(user.begin(), {objects_.schema().userType, name.attribute});
            return entry_unseen_user(user);
        }
        throw CodedError(ZKE_NO_ACCESS,
                         catalogue_format("%1$s: the server shows no users before a login: add the context of %2$s, or "
                                          "set default_context",
                                          tree_.name.c_str(), name.attribute.c_str()));
    }
    objects_.refuseWrongBase();
    return nullptr;
}

std::vector<Name> LdapStore::missing(const Name &container, const std::vector<Name> &names) {
    objects_.readTogether(container, names);
    return DirectoryStore::missing(container, names);
}

const OtherAttribute *LdapStore::otherAttribute(const Entry &user, std::string_view name) {
    if (!others_.hasRead()) others_.read(&servers_, objects_.dnOf(user), root_);
    return others_.find(name);
}

void LdapStore::keepSite(const LdapAnswer &answer, const Name &reader) {
    siteRead_ = true;
    siteMissing_ = answer.missing;
    siteMissingCode_ = answer.missingCode;
    site_.clear();
    for (const LdapEntry &one : answer.entries) {
        EntryPtr entry = objects_.keep(one);
        if (entry != nullptr && entry_is_of_site(*entry)) site_.push_back(entry);
    }
    keeper_.keepSite(site_, reader.empty() ? nullptr : objects_.kept(reader));
}

// What every login needs: the user, the containers above, the profile, and the servers, volumes and maps of the site,
// unless their copy serves. Not the groups: who is in a thousand of them would wait for their attributes, while the
// names alone are enough.
void LdapStore::readSession(const Entry &user) {
    const bool copyServes = keeper_.servesLogin(user);
    std::vector<std::string> filters;
    if (!copyServes) filters.push_back(site_filter(objects_.schema()));
    std::vector<Name> own;
    for (size_t i = 0; i + objects_.searchBase().size() <= user.name.size(); i++)
        own.push_back(name_above(user.name, i));
    if (const std::string *profile = user.first("qrtProfile"))
        own.push_back(value_parse(schema_dn, *profile, root_).name);
    for (const Name &name : own) filters.push_back(filter_equal(objects_.schema().dnAttribute, objects_.dnOf(name)));
    LdapAnswer answer = objects_.search(objects_.searchBase(), LDAP_SCOPE_SUBTREE, filter_or(filters), false);
    if (answer.result == LDAP_SIZELIMIT_EXCEEDED) return; // each is asked for when it is wanted
    if (!copyServes) return keepSite(answer, user.name);
    for (const LdapEntry &one : answer.entries) objects_.keep(one);
}

void LdapStore::readSite() {
    if (siteRead_) return;
    LdapAnswer answer =
        objects_.search(objects_.searchBase(), LDAP_SCOPE_SUBTREE, site_filter(objects_.schema()), false);
    if (answer.result == LDAP_SIZELIMIT_EXCEEDED) {
        throw DataError(catalogue_format(
            "%1$s: the list of servers and volumes is incomplete: server size limit exceeded after %2$zu",
            tree_.name.c_str(), answer.entries.size()));
    }
    keepSite(answer, user_);
}

template <typename Wanted>
EntryPtr LdapStore::findInSite(Wanted wanted) {
    readSite();
    for (const EntryPtr &entry : site_)
        if (wanted(*entry)) return entry;
    if (!siteMissing_.empty()) // it may be among those that could not be read
        throw CodedError(siteMissingCode_, siteMissing_);
    return nullptr;
}

EntryPtr LdapStore::findServer(std::string_view name) {
    return findInSite([name](const Entry &entry) { return entry_is_server(entry, name); });
}

EntryPtr LdapStore::findVolume(const Entry &server, std::string_view volume) {
    return findInSite([&](const Entry &entry) { return entry_is_volume(entry, server, volume, root_); });
}

std::vector<EntryPtr> LdapStore::volumes() {
    readSite();
    if (!siteMissing_.empty()) throw CodedError(siteMissingCode_, siteMissing_);
    std::vector<EntryPtr> found;
    std::copy_if(site_.begin(), site_.end(), std::back_inserter(found),
                 [](const EntryPtr &entry) { return entry->isClass("Volume"); });
    return found;
}

// What the server says of a login. Which of name and password was wrong is not distinguished by servers either.
Verdict LdapStore::verdictOf(const LdapAnswer &answer, const Entry &user) const {
    switch (answer.result) {
        case LDAP_SUCCESS:
        case LDAP_INVALID_CREDENTIALS:
        case LDAP_INAPPROPRIATE_AUTH:
        case LDAP_NO_SUCH_OBJECT:
        case LDAP_INVALID_DN_SYNTAX:
        case LDAP_UNWILLING_TO_PERFORM:
        case LDAP_CONSTRAINT_VIOLATION:
        case LDAP_INSUFFICIENT_ACCESS:
            return ldap_verdict(answer);
        case LDAP_CONFIDENTIALITY_REQUIRED:
        case LDAP_STRONG_AUTH_REQUIRED:
            throw CodedError(
                ZKE_TLS_REQUIRED,
                tree_.name + ": " + catalogue_text("the server does not accept passwords over this connection"));
        case LDAP_REFERRAL:
            throw CodedError(ZKE_REFERRAL_BROKEN,
                             catalogue_format("%1$s: the server referred the login of %2$s to another server",
                                              tree_.name.c_str(), name_to_dotted(user.name, true).c_str()) +
                                 (answer.referral.empty() ? "" : ": " + answer.referral.front()));
        default:
            throw CodedError(ZKE_DIRECTORY_UNREACHABLE,
                             catalogue_format("%1$s: login of %2$s failed: %3$s %4$s", tree_.name.c_str(),
                                              name_to_dotted(user.name, true).c_str(), ldap_err2string(answer.result),
                                              answer.text.c_str()));
    }
}

std::string LdapStore::computed(const Entry &user, const char *attribute) {
    try {
        const LdapAnswer answer =
            servers_.search({objects_.dnOf(user), LDAP_SCOPE_BASE, "(objectClass=*)", {attribute}});
        for (const LdapEntry &entry : answer.entries)
            for (const auto &[name, values] : entry.attributes)
                if (!values.empty()) return values.front();
    } catch (const CodedError &) {
        // It stays unknown.
    }
    return "";
}

// The login is refused for what is known.
time_t LdapStore::lockEnd(const Entry &user) {
    try {
        const std::string below = tree_.base.empty() ? name_to_dn(objects_.searchBase(), root_) : tree_.base;
        return ldap_lock_end(&servers_, objects_.dnOf(user), below);
    } catch (const CodedError &) {
        return 0;
    }
}

static std::string time_value(time_t when) {
    tm parts = {};
    char text[32] = "";
    strftime(text, sizeof text, "%Y%m%d%H%M%SZ", gmtime_r(&when, &parts));
    return text;
}

// What the server has said of the password's end is what scripts read of it, unless the entry says that itself.
EntryPtr LdapStore::withExpiration(const EntryPtr &user, int64_t seconds) {
    constexpr int64_t most = INT32_MAX; // the largest time that can be handed out
    const int64_t end = time(nullptr) + seconds;
    if (user->first("qrtPasswordExpirationTime") != nullptr || end > most) return user;
    auto more = std::make_shared<Entry>(*user);
    more->values.push_back({schema_find_ldap("qrtPasswordExpirationTime"), time_value(end)});
    objects_.replace(more);
    return more;
}

Verdict LdapStore::checkPassword(const Entry &entry, const char *password) {
    // A server treats a bind with an empty password as anonymous, and accepts it.
    if (*password == '\0') return Verdict::wrongPassword;
    return verdictOf(servers_.tryPassword({objects_.dnOf(entry), password}, objects_.origin(entry.name)), entry);
}

std::string LdapStore::bindName(const Entry &user) const {
    if (loggedIn_ && name_equal(user_, user.name)) return boundAs_;
    return &user == account_.entry.get() ? account_.bindName : objects_.dnOf(user);
}

LdapAnswer LdapStore::bind(const Entry &user, const char *password) {
    return servers_.login({bindName(user), password}, objects_.origin(user.name));
}

// A user who was assumed has not been let in: perhaps the name means another one by now, or nobody. Where no server
// says so any more, what one has said of the password counts.
void LdapStore::bindAsSeen(EntryPtr *user, const char *password, LdapAnswer *answer) {
    EntryPtr seen;
    try {
        seen = userSeen(assumedName_);
    } catch (const LdapTrouble &) {
        if (*password == '\0') throw;
        return;
    }
    error_unless(seen != nullptr, ZKE_NO_SUCH_ENTRY);
    const bool isAnother = !name_equal(seen->name, (*user)->name);
    *user = seen;
    if (isAnother && *password != '\0') *answer = bind(*seen, password);
}

Verdict LdapStore::login(EntryPtr *user, const char *password) {
    LdapAnswer answer;
    answer.result = LDAP_INVALID_CREDENTIALS;
    if (*password != '\0' || !tree_.ldap.needsPassword()) answer = bind(**user, password);
    if (answer.result != LDAP_SUCCESS && *user == assumed_) bindAsSeen(user, password, &answer);
    if (*password == '\0' && tree_.ldap.needsPassword()) return Verdict::wrongPassword;
    const EntryPtr asked = *user;
    const std::string who = bindName(*asked);
    account_.who = answer.who;
    Verdict verdict = verdictOf(answer, *asked);
    if (verdict == Verdict::passwordExpired && asked == account_.entry && !account_.principal.name.empty()) {
        verdict = Verdict::mustChange; // its user still may
        verdict.expiresIn = 0;
    }
    if (verdict == Verdict::locked && answer.password.error == PP_accountLocked) verdict.until = lockEnd(*asked);
    if (verdict == Verdict::wrongPassword) objects_.refuseWrongBase(); // no user can be below it
    if (verdict == Verdict::accepted) {
        try {
            *user = readUser(*asked);
        } catch (...) {
            if (!loggedIn_) logout();
            throw;
        }
        loggedIn_ = true;
        boundAs_ = who;
        if (objects_.isOfAccounts() && tree_.ldap.needsPassword()) // it says nothing of that with the login
            verdict.expiresIn =
                ldap_password_lasts(computed(**user, "msDS-UserPasswordExpiryTimeComputed"), time(nullptr));
        if (verdict.expiresIn != Verdict::not_said) *user = withExpiration(*user, verdict.expiresIn);
    }
    return verdict;
}

// The server has taken the password: whatever goes wrong now is not the password's fault.
EntryPtr LdapStore::readUser(const Entry &asked) {
    forget();
    user_ = asked.name;
    try {
        const bool isAccount = &asked == account_.entry.get();
        const EntryPtr own = isAccount ? accounts_.read(account_) : nullptr;
        if (own != nullptr) user_ = own->name;
        if (own != nullptr || !isAccount) readSession(own == nullptr ? asked : *own);
        if (own != nullptr) return own;
        if (EntryPtr user = isAccount ? nullptr : find(asked.name, Aliases::keep)) return user;
    } catch (const LdapTrouble &trouble) {
        throw CodedError(trouble.code, trouble.what()); // no copy stands in for a server that has answered
    }
    throw CodedError(ZKE_NO_ACCESS, catalogue_format("%1$s: the server has accepted the login of %2$s but does not "
                                                     "show the user's own entry",
                                                     tree_.name.c_str(), name_to_dotted(asked.name, true).c_str()));
}

// An entry without a time has none to keep: who wants it writes the first one.
void LdapStore::noteLogin() {
    const EntryPtr user = loggedIn_ ? objects_.kept(user_) : nullptr;
    if (user == nullptr || user->first("qrtLastLoginTime") == nullptr) return;
    if (objects_.isOfAccounts()) return; // where it is the domain's own business
    servers_.tell(objects_.dnOf(*user), objects_.schema().attributeOf("qrtLastLoginTime"), time_value(time(nullptr)));
}

// An account whose password the directory does not take any more, and its domain another one in its place.
static bool mustChange(const LdapAnswer &answer) {
    const Verdict verdict = ldap_verdict(answer);
    return verdict == Verdict::mustChange || verdict == Verdict::passwordExpired;
}

// The login that the change begins with, refused for the account's own sake.
static void require_usable_account(const LdapAnswer &answer, const Entry &user) {
    const bool isOfLogin = answer.result == LDAP_INVALID_CREDENTIALS || answer.password.error == PP_accountLocked;
    const Verdict verdict = ldap_verdict(answer);
    if (isOfLogin && verdict.isOfAccount()) login_require_accepted(verdict, user);
}

void LdapStore::changePassword(const Entry &entry, const char *oldPassword, const char *newPassword) {
    const std::string who = bindName(entry);
    if (!tree_.ldap.needsPassword())
        throw CodedError(ZKE_NO_ACCESS, catalogue_text("the users of this tree log in without a password"));
    // An empty one would make the login anonymous, or the server choose a password.
    error_unless(*oldPassword != '\0', ZKE_WRONG_PASSWORD);
    error_unless(*newPassword != '\0', ZKE_PASSWORD_REFUSED);
    const LdapIdentity before(who, oldPassword);
    try {
        const LdapAnswer answer =
            servers_.changePassword(objects_.dnOf(entry), before, {who, newPassword}, objects_.origin(entry.name));
        const bool mayTakeAnother = &entry == account_.entry.get() && !account_.principal.name.empty();
        if (answer.result != LDAP_SUCCESS && mayTakeAnother && mustChange(answer))
            return changeAtCentre(before, {who, newPassword});
        require_usable_account(answer, entry);
        ldap_password_require_changed(answer);
    } catch (const LdapTrouble &trouble) {
        throw CodedError(trouble.code, trouble.what()); // no copy stands in
    }
}

void LdapStore::changeAtCentre(const LdapIdentity &before, const LdapIdentity &after) const {
    LdapWaiting waiting;
    const StartEnvironment started;
    kerberos_change_password(account_.principal, before, after, LdapClock::now() + ldap_seconds(tree_.ldap.timeLimit));
}

const std::string &LdapStore::scriptAttribute() {
    return objects_.schema().attributeOf("qrtLoginScript");
}

StoredScript LdapStore::readScript(const Entry &entry) {
    const std::string dn = objects_.dnOf(entry), &attribute = scriptAttribute();
    StoredScript script = ldap_script_read(servers_.search(ldap_script_search(dn, attribute)), dn, attribute);
    script.place = catalogue_format("%1$s of %2$s", attribute.c_str(), dn.c_str());
    return script;
}

// Servers of the client's own schema let an entry have a script that is of one of these classes.
static std::string class_for_scripts(const Entry &entry) {
    if (entry.isClass("User")) return "qrtUser";
    return entry.entryClass->container ? "qrtContainer" : "";
}

void LdapStore::writeScript(const Entry &entry, const ScriptText &before, const ScriptText &after) {
    const LdapOrigin origin = objects_.origin(entry.name);
    if (!origin.server.empty())
        throw CodedError(ZKE_NO_ACCESS,
                         catalogue_format("the script can only be changed at %s", origin.server.c_str()));
    const std::string &attribute = scriptAttribute();
    const bool isOwn = schema_find_ldap(attribute) == schema_find_ldap("qrtLoginScript");
    servers_.changeScript(
        {objects_.dnOf(entry), attribute, isOwn ? class_for_scripts(entry) : std::string(), before, after});
}

std::vector<EntryPtr> LdapStore::scripts() {
    return objects_.having(*schema_find_ldap("qrtLoginScript"));
}

Verdict LdapStore::loginAs(const std::string &dn, const char *password) {
    if (dn.empty() || (*password == '\0' && tree_.ldap.needsPassword())) return Verdict::wrongPassword;
    Entry named; // for messages
    name_parse_dn(dn, {}, &named.name, nullptr);
    const Verdict verdict = verdictOf(servers_.login({dn, password}, {}), named);
    if (verdict != Verdict::accepted) return verdict;
    forget();
    user_.clear();
    boundAs_ = dn;
    loggedIn_ = true;
    return verdict;
}

std::vector<EntryPtr> LdapStore::allRead() const {
    std::vector<EntryPtr> all = site_;
    const std::vector<EntryPtr> kept = objects_.allKept();
    all.insert(all.end(), kept.begin(), kept.end());
    return all;
}

void LdapStore::logout() {
    loggedIn_ = false;
    user_.clear();
    servers_.logout();
    forget();
}

// Another user may read other things.
void LdapStore::forget() {
    objects_.forget();
    groups_.forget();
    others_.forget();
    site_.clear();
    siteRead_ = false;
}
