#include "platform/client/ldap/store.h"

#include <algorithm>

#include "platform/catalogue.h"
#include "platform/client/core/entry_find.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/values.h"
#include "platform/client/ldap/filter.h"

namespace {

constexpr const char *site_classes[] = {"qrtServer", "qrtVolume", "qrtDirectoryMap"};

std::string site_filter() {
    std::vector<std::string> filters;
    for (const char *name : site_classes) filters.push_back(filter_equal("objectClass", name));
    return filter_or(filters);
}

} // namespace

bool ldap_is_site_object(const Entry &entry) {
    return entry.is_class("Server") || entry.is_class("Volume") || entry.is_class("Directory Map");
}

EntryPtr LdapStore::find(const Name &name, Aliases aliases) {
    auto at = [this](const Name &wanted) { return wanted.empty() && root.empty() ? nullptr : objects.lookup(wanted); };
    // Whatever was asked for a name has brought what there is above it.
    auto above = [this](const Name &wanted) { return objects.kept(wanted); };
    return entry_find(name, aliases, root, at, above);
}

// A directory that shows nothing to nobody does not say who there is: the name is taken as it is usual.
EntryPtr LdapStore::find_user(const Name &name) {
    if (EntryPtr user = find(name, Aliases::Follow)) return user;
    const std::optional<Name> likely = objects.unseen(name);
    if (!likely) {
        objects.refuseWrongBase();
        return nullptr;
    }
    auto made = std::make_shared<Entry>();
    made->name = *likely;
    made->entryClass = schema_class_of({"person"});
    return made;
}

std::string LdapStore::groupFilter(const std::string &dn) const {
    return filter_or(
        {filter_equal(objects.siteName("member"), dn), filter_equal(objects.siteName("uniqueMember"), dn)});
}

std::vector<Name> LdapStore::groups_of(const Entry &entry) {
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
        if (!answer.missing.empty())
            throw CodedError(answer.missingCode, answer.missing); // no list of groups is better than a short one
        std::vector<Name> &names = groups[dn];
        for (const LdapEntry &one : answer.entries) {
            Name name;
            if (name_parse_dn(one.dn, root, &name, nullptr) &&
                (one.origin.server.empty() ||
                 std::none_of(names.begin(), names.end(), [&](const Name &known) { return name_equal(known, name); })))
                names.push_back(std::move(name)); // two servers may have the same one
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
        if (entry != nullptr && ldap_is_site_object(*entry)) site.push_back(entry);
    }
    onSiteRead(site);
}

// What every login needs: the user, the containers above, the profile, and the servers, volumes and maps of the site.
// Not the groups: who is in a thousand of them would wait for their attributes, while the names alone are enough.
void LdapStore::readSession(const Entry &user) {
    std::vector<std::string> filters = {site_filter()};
    std::vector<Name> own;
    for (size_t i = 0; i + objects.searchBase().size() <= user.name.size(); i++)
        own.push_back(name_above(user.name, i));
    if (const std::string *profile = user.first("qrtProfile"))
        own.push_back(value_parse(schema_dn, *profile, root).name);
    for (const Name &name : own) filters.push_back(filter_equal("entryDN", name_to_dn(name, root)));
    LdapAnswer answer = objects.search(objects.searchBase(), LDAP_SCOPE_SUBTREE, filter_or(filters), false);
    if (answer.result == LDAP_SIZELIMIT_EXCEEDED) return; // each is asked for when it is wanted
    keepSite(answer);
}

void LdapStore::readSite() {
    if (siteRead) return;
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
    for (const EntryPtr &entry : site)
        if (wanted(*entry)) return entry;
    if (!siteMissing.empty()) // it may be among those that could not be read
        throw CodedError(siteMissingCode, siteMissing);
    return nullptr;
}

EntryPtr LdapStore::find_server(std::string_view name) {
    return findInSite([name](const Entry &entry) { return entry_is_server(entry, name); });
}

EntryPtr LdapStore::find_volume(const Entry &server, std::string_view volume) {
    return findInSite([&](const Entry &entry) { return entry_is_volume(entry, server, volume, root); });
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
    // A server takes an empty password for a login as nobody, and says yes.
    if (*password == '\0') return Verdict::WrongPassword;
    return verdictOf(servers.tryPassword({name_to_dn(entry.name, root), password}, objects.origin(entry.name)), entry);
}

Verdict LdapStore::login(EntryPtr *user, const char *password) {
    if (*password == '\0' && tree.ldap.needsPassword()) return Verdict::WrongPassword;
    const EntryPtr asked = *user;
    const Verdict verdict =
        verdictOf(servers.login({name_to_dn(asked->name, root), password}, objects.origin(asked->name)), *asked);
    if (verdict == Verdict::WrongPassword) objects.refuseWrongBase(); // no user can be below it
    if (verdict == Verdict::Accepted) {
        try {
            *user = readUser(*asked);
        } catch (...) {
            if (!loggedIn) logout();
            throw;
        }
        loggedIn = true;
    }
    return verdict;
}

// The server has taken the password: whatever goes wrong now is not the password's fault.
EntryPtr LdapStore::readUser(const Entry &asked) {
    forget();
    try {
        readSession(asked);
        if (EntryPtr user = find(asked.name, Aliases::Keep)) return user;
    } catch (const LdapTrouble &trouble) {
        throw CodedError(trouble.code, trouble.what()); // no copy stands in for a server that has answered
    }
    throw CodedError(ZKE_NO_ACCESS, catalogue_format("%1$s: the server has accepted the login of %2$s but does not "
                                                     "show the user's own entry",
                                                     tree.name.c_str(), name_to_dotted(asked.name, true).c_str()));
}

std::vector<EntryPtr> LdapStore::allRead() const {
    std::vector<EntryPtr> all = site;
    const std::vector<EntryPtr> kept = objects.allKept();
    all.insert(all.end(), kept.begin(), kept.end());
    return all;
}

void LdapStore::logout() {
    loggedIn = false;
    servers.logout();
    forget();
}

// Another user may read other things.
void LdapStore::forget() {
    objects.forget();
    groups.clear();
    site.clear();
    siteRead = false;
}
