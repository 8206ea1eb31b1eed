#include "platform/client/ldap/store.h"

#include <algorithm>
#include <unordered_map>

#include "platform/catalogue.h"
#include "platform/client/core/entry_find.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/login_check.h"
#include "platform/client/core/values.h"
#include "platform/client/ldap/copy.h"
#include "platform/client/ldap/filter.h"
#include "platform/client/ldap/lookup.h"
#include "platform/client/ldap/offline_login.h"
#include "platform/client/ldap/servers.h"
#include "platform/zk.h"

namespace {

// The servers, volumes and directory maps that one process has read serve the next one for so long: the programs that
// a script runs are many, and short.
constexpr time_t site_copy_seconds = 60;

constexpr const char *site_classes[] = {"qrtServer", "qrtVolume", "qrtDirectoryMap"};

bool is_site_object(const Entry &entry) {
    return entry.is_class("Server") || entry.is_class("Volume") || entry.is_class("Directory Map");
}

class LdapStore : public DirectoryStore {
  public:
    LdapStore(const ConfigTree &config, const Name &base)
        : tree(config), root(base), servers(config.ldap), siteCopy(config, base, "site") {}

    const Name &base() const override { return root; }
    EntryPtr find(const Name &name, Aliases aliases) override;
    EntryPtr find_user(const Name &name) override;
    std::vector<Name> groups_of(const Entry &entry) override;
    EntryPtr find_server(std::string_view name) override;
    EntryPtr find_volume(const Entry &server, std::string_view volume) override;
    Verdict check_password(const Entry &entry, const char *password) override;
    Verdict login(EntryPtr *user, const char *password) override;
    void logout() override;

  private:
    EntryPtr lookup(const Name &name);
    EntryPtr fromSiteCopy(const Name &name, Aliases aliases);
    std::string groupFilter(const std::string &dn) const;
    EntryPtr readUser(const Entry &asked);
    void readSession(const Entry &user);
    void readSite();
    bool mayUseCopy(const LdapTrouble &trouble) const;
    void noteRefusal(Verdict verdict, const Name &user, const char *password) const;
    template <typename Wanted>
    EntryPtr findInSite(Wanted wanted);
    void keepSite(const LdapAnswer &answer);
    Verdict verdictOf(const LdapAnswer &answer, const Entry &user) const;
    void forget();
    void saveOffline();

    const ConfigTree &tree;
    Name root;
    LdapServers servers;
    LdapLookup objects{tree, root, &servers};
    std::unordered_map<std::string, std::vector<Name>> groups; // by the member's DN
    bool siteRead = false;
    std::vector<EntryPtr> site;
    std::string siteMissing; // as in LdapAnswer
    uint32_t siteMissingCode = 0;

    LdapCopy siteCopy;
    std::unique_ptr<DirectoryStore> siteFromCopy;
    bool siteCopyTried = false;
    OfflineLogin offline{tree, root};
    bool loggedIn = false;
    EntryPtr identity; // who has logged in, when a copy of the login is kept
};

// A program that runs in this one's place leaves no later moment to keep what was read.
EntryPtr LdapStore::lookup(const Name &name) {
    bool known = objects.kept(name) != nullptr;
    EntryPtr entry = objects.lookup(name);
    if (entry != nullptr && !known) {
        saveOffline();
    }
    return entry;
}

EntryPtr LdapStore::fromSiteCopy(const Name &name, Aliases aliases) {
    if (!siteCopyTried) {
        siteCopyTried = true;
        time_t written = 0;
        siteFromCopy = siteCopy.read(&written);
        time_t age = time(nullptr) - written;
        bool recent = tree.ldap.offline ? ldap_copy_is_recent(written, tree.ldap.offlineDays)
                                        : age >= 0 && age <= site_copy_seconds;
        if (!recent) {
            siteFromCopy.reset();
        }
    }
    if (servers.haveDistrusted()) {
        siteFromCopy.reset();
    }
    EntryPtr entry = siteFromCopy == nullptr ? nullptr : siteFromCopy->find(name, aliases);
    return entry != nullptr && is_site_object(*entry) ? entry : nullptr;
}

EntryPtr LdapStore::find(const Name &name, Aliases aliases) {
    if (offline.active()) {
        return offline.store()->find(name, aliases);
    }
    EntryPtr copied = siteRead ? nullptr : fromSiteCopy(name, aliases);
    if (copied != nullptr) {
        return copied;
    }
    auto at = [this](const Name &wanted) { return wanted.empty() && root.empty() ? nullptr : lookup(wanted); };
    // Whatever was asked for a name has brought what there is above it.
    auto above = [this](const Name &wanted) { return objects.kept(wanted); };
    return entry_find(name, aliases, root, at, above);
}

// A directory that shows nothing to nobody does not say who there is: the name is taken as it is usual.
EntryPtr LdapStore::find_user(const Name &name) {
    try {
        EntryPtr user = find(name, Aliases::Follow);
        Name likely;
        if (user == nullptr && objects.unseen(name, &likely)) {
            auto made = std::make_shared<Entry>();
            made->name = likely;
            made->entryClass = schema_class_of({"person"});
            user = made;
        }
        if (user == nullptr) {
            objects.refuseWrongBase();
            offline.refused(name);
        }
        return user;
    } catch (const LdapTrouble &trouble) {
        if (!mayUseCopy(trouble) || !offline.begin(name)) {
            throw;
        }
        return offline.store()->find(name, Aliases::Follow);
    }
}

std::string LdapStore::groupFilter(const std::string &dn) const {
    return filter_or(
        {filter_equal(objects.siteName("member"), dn), filter_equal(objects.siteName("uniqueMember"), dn)});
}

std::vector<Name> LdapStore::groups_of(const Entry &entry) {
    if (offline.active()) {
        return offline.store()->groups_of(entry);
    }
    std::string dn = name_to_dn(entry.name, root);
    if (groups.count(dn) == 0) {
        LdapSearch wanted = {
            name_to_dn(objects.searchBase(), root), LDAP_SCOPE_SUBTREE, groupFilter(dn), {LDAP_NO_ATTRS}};
        LdapAnswer answer = servers.search(wanted);
        if (answer.result == LDAP_SIZELIMIT_EXCEEDED) {
            throw DataError(catalogue_format(
                "%1$s: the list of groups of %2$s is incomplete: server size limit exceeded after %3$zu",
                tree.name.c_str(), name_to_dotted(entry.name, true).c_str(), answer.entries.size()));
        }
        if (!answer.missing.empty()) {
            throw CodedError(answer.missingCode, answer.missing); // no list of groups is better than a short one
        }
        std::vector<Name> &names = groups[dn];
        for (const LdapEntry &one : answer.entries) {
            Name name;
            if (name_parse_dn(one.dn, root, &name, nullptr) &&
                (one.origin.server.empty() || std::none_of(names.begin(), names.end(), [&](const Name &known) {
                     return name_equal(known, name);
                 }))) {
                names.push_back(std::move(name)); // two servers may have the same one
            }
        }
    }
    return groups[dn];
}

void LdapStore::keepSite(const LdapAnswer &answer) {
    siteRead = true;
    siteMissing = answer.missing;
    siteMissingCode = answer.missingCode;
    site.clear();
    for (const LdapEntry &one : answer.entries) {
        EntryPtr entry = objects.keep(one);
        if (entry != nullptr && is_site_object(*entry)) {
            site.push_back(entry);
        }
    }
    if (!site.empty()) { // a process that is nobody may see nothing where its user saw everything
        siteCopy.write(site);
    }
}

std::string site_filter() {
    std::vector<std::string> filters;
    for (const char *name : site_classes) {
        filters.push_back(filter_equal("objectClass", name));
    }
    return filter_or(filters);
}

// What every login needs: the user, the containers above, the profile, and the servers, volumes and maps of the site.
// Not the groups: who is in a thousand of them would wait for their attributes, while the names alone are enough.
void LdapStore::readSession(const Entry &user) {
    std::vector<std::string> filters = {site_filter()};
    std::vector<Name> own;
    for (size_t i = 0; i + objects.searchBase().size() <= user.name.size(); i++) {
        own.push_back(name_above(user.name, i));
    }
    if (const std::string *profile = user.first("qrtProfile")) {
        own.push_back(value_parse(schema_dn, *profile, root).name);
    }
    for (const Name &name : own) {
        filters.push_back(filter_equal("entryDN", name_to_dn(name, root)));
    }
    LdapAnswer answer = objects.search(objects.searchBase(), LDAP_SCOPE_SUBTREE, filter_or(filters), false);
    if (answer.result == LDAP_SIZELIMIT_EXCEEDED) {
        return; // each is asked for when it is wanted
    }
    keepSite(answer);
}

void LdapStore::readSite() {
    if (siteRead) {
        return;
    }
    LdapAnswer answer = objects.search(objects.searchBase(), LDAP_SCOPE_SUBTREE, site_filter(), false);
    if (answer.result == LDAP_SIZELIMIT_EXCEEDED) {
        throw DataError(catalogue_format(
            "%1$s: the list of servers and volumes is incomplete: server size limit exceeded after %2$zu",
            tree.name.c_str(), answer.entries.size()));
    }
    keepSite(answer);
}

template <typename Wanted>
EntryPtr LdapStore::findInSite(Wanted wanted) {
    readSite();
    for (const EntryPtr &entry : site) {
        if (wanted(*entry)) {
            return entry;
        }
    }
    if (!siteMissing.empty()) { // it may be among those that could not be read
        throw CodedError(siteMissingCode, siteMissing);
    }
    return nullptr;
}

EntryPtr LdapStore::find_server(std::string_view name) {
    if (offline.active()) {
        return offline.store()->find_server(name);
    }
    fromSiteCopy({}, Aliases::Keep);
    EntryPtr copied = siteRead || siteFromCopy == nullptr ? nullptr : siteFromCopy->find_server(name);
    return copied != nullptr ? copied : findInSite([name](const Entry &entry) { return entry_is_server(entry, name); });
}

EntryPtr LdapStore::find_volume(const Entry &server, std::string_view volume) {
    if (offline.active()) {
        return offline.store()->find_volume(server, volume);
    }
    fromSiteCopy({}, Aliases::Keep);
    EntryPtr copied = siteRead || siteFromCopy == nullptr ? nullptr : siteFromCopy->find_volume(server, volume);
    return copied != nullptr
               ? copied
               : findInSite([&](const Entry &entry) { return entry_is_volume(entry, server, volume, root); });
}

// What the server says of a login. Which of name and password was wrong is not told apart by servers either.
Verdict LdapStore::verdictOf(const LdapAnswer &answer, const Entry &user) const {
    switch (answer.result) {
        case LDAP_SUCCESS:
            return Verdict::Accepted;
        case LDAP_INVALID_CREDENTIALS:
        case LDAP_INAPPROPRIATE_AUTH:
        case LDAP_NO_SUCH_OBJECT:
        case LDAP_INVALID_DN_SYNTAX:
            return Verdict::WrongPassword;
        case LDAP_UNWILLING_TO_PERFORM:
        case LDAP_CONSTRAINT_VIOLATION:
        case LDAP_INSUFFICIENT_ACCESS:
            return Verdict::Locked;
        case LDAP_CONFIDENTIALITY_REQUIRED:
        case LDAP_STRONG_AUTH_REQUIRED:
            throw CodedError(
                ZKE_TLS_REQUIRED,
                tree.name + ": " + catalogue_text("the server does not accept passwords over this connection"));
        case LDAP_REFERRAL:
            throw CodedError(ZKE_REFERRAL_BROKEN,
                             catalogue_format("%1$s: the server referred the login of %2$s to another server",
                                              tree.name.c_str(), name_to_dotted(user.name, true).c_str()) +
                                 (answer.referral.empty() ? "" : ": " + answer.referral.front()));
        default:
            throw CodedError(ZKE_DIRECTORY_UNREACHABLE,
                             catalogue_format("%1$s: login of %2$s failed: %3$s %4$s", tree.name.c_str(),
                                              name_to_dotted(user.name, true).c_str(), ldap_err2string(answer.result),
                                              answer.text.c_str()));
    }
}

Verdict LdapStore::check_password(const Entry &entry, const char *password) {
    if (offline.active()) {
        return offline.store()->check_password(entry, password);
    }
    // A server takes an empty password for a login as nobody, and says yes.
    if (*password == '\0') {
        return Verdict::WrongPassword;
    }
    const Verdict verdict =
        verdictOf(servers.tryPassword({name_to_dn(entry.name, root), password}, objects.origin(entry.name)), entry);
    noteRefusal(verdict, entry.name, password);
    return verdict;
}

// A server that nobody can hear is one thing, a server that is not the site's own another.
bool LdapStore::mayUseCopy(const LdapTrouble &trouble) const {
    return !trouble.distrusted && !servers.haveDistrusted();
}

// A password that was changed, an account that was locked: pulling the plug must not bring them back.
void LdapStore::noteRefusal(Verdict verdict, const Name &user, const char *password) const {
    if (verdict == Verdict::Locked) {
        offline.refused(user);
    } else if (verdict == Verdict::WrongPassword) {
        offline.refusedPassword(user, password);
    }
}

Verdict LdapStore::login(EntryPtr *user, const char *password) {
    if (*password == '\0' && tree.ldap.needsPassword()) {
        return Verdict::WrongPassword;
    }
    if (offline.active()) {
        return offline.login(**user, password);
    }
    EntryPtr asked = *user;
    LdapAnswer answer;
    try {
        answer = servers.login({name_to_dn(asked->name, root), password}, objects.origin(asked->name));
    } catch (const LdapTrouble &trouble) {
        if (!mayUseCopy(trouble) || !offline.begin(asked->name)) {
            throw;
        }
        return offline.login(*asked, password);
    }
    const Verdict verdict = verdictOf(answer, *asked);
    if (verdict == Verdict::WrongPassword) {
        objects.refuseWrongBase(); // no user can be below it
    }
    noteRefusal(verdict, asked->name, password);
    if (verdict != Verdict::Accepted) {
        return verdict;
    }
    try {
        *user = readUser(*asked);
    } catch (...) {
        if (!loggedIn) {
            logout();
        }
        throw;
    }
    loggedIn = true;
    if (login_is_locked(**user)) {
        offline.refused(asked->name); // whoever logs in finds that out for itself
    } else if (tree.ldap.offline) {
        identity = *user;
        offline.keep(identity, password);
        saveOffline();
    }
    return Verdict::Accepted;
}

// The server has taken the password: whatever goes wrong now is not the password's fault.
EntryPtr LdapStore::readUser(const Entry &asked) {
    forget();
    readSession(asked);
    EntryPtr user = find(asked.name, Aliases::Keep);
    if (user == nullptr) {
        throw CodedError(ZKE_NO_ACCESS, catalogue_format("%1$s: the server has accepted the login of %2$s but does not "
                                                         "show the user's own entry",
                                                         tree.name.c_str(), name_to_dotted(asked.name, true).c_str()));
    }
    return user;
}

void LdapStore::saveOffline() {
    if (identity == nullptr) {
        return;
    }
    const std::vector<Name> inGroups = groups_of(*identity);
    std::vector<EntryPtr> all = site;
    for (const EntryPtr &entry : objects.allKept()) {
        all.push_back(entry);
    }
    offline.save(all, inGroups);
}

void LdapStore::logout() {
    loggedIn = false;
    servers.logout();
    offline.end();
    forget();
}

// Another user may read other things.
void LdapStore::forget() {
    objects.forget();
    groups.clear();
    site.clear();
    identity.reset();
    siteRead = false;
    siteCopyTried = true; // what was read before a login is another user's
    siteFromCopy.reset();
}

} // namespace

std::unique_ptr<DirectoryStore> ldap_store_make(const ConfigTree &tree, const Name &base) {
    return std::make_unique<LdapStore>(tree, base);
}
