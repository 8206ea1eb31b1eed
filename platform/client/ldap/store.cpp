#include "platform/client/ldap/store.h"

#include <algorithm>

#include "platform/catalogue.h"
#include "platform/client/core/entry_find.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/values.h"
#include "platform/client/ldap/filter.h"

static constexpr const char *site_classes[] = {"qrtServer", "qrtVolume", "qrtDirectoryMap"};

static std::string site_filter() {
    std::vector<std::string> filters;
    for (const char *name : site_classes) filters.push_back(filter_equal("objectClass", name));
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

// Who has logged in from here before is most likely there still: whether that is so turns out at the login. Only where
// the name would mean that object if there were others of the same name, too. A login without a password says what is
// wrong with it in other ways than by the user's name, with referrals the object's server has to be found, and the copy
// of a login for work offline is that of whom the server means.
EntryPtr LdapStore::findUser(const Name &name) {
    const bool mayAssume = !loggedIn_ && tree_.ldap.needsPassword() && !tree_.ldap.referrals && !tree_.ldap.offline;
    assumed_ = mayAssume ? keeper_.lastReader() : nullptr;
    if (assumed_ != nullptr && name_key(assumed_->name) == name_key(name)) {
        const std::optional<Name> likely = objects_.likely(name);
        if (likely && name_equal(*likely, assumed_->name)) {
            assumedName_ = name;
            return assumed_;
        }
    }
    assumed_.reset();
    return userSeen(name);
}

// A directory that shows nothing anonymously does not say who exists: the usual form of the name is assumed.
EntryPtr LdapStore::userSeen(const Name &name) {
    if (EntryPtr user = find(name, Aliases::follow)) return user;
    const std::optional<Name> likely = objects_.unseen(name);
    if (!likely) {
        objects_.refuseWrongBase();
        return nullptr;
    }
    auto made = std::make_shared<Entry>();
    made->name = *likely;
    made->entryClass = schema_class_of({"person"});
    return made;
}

std::string LdapStore::groupFilter(const std::string &dn) const {
    return filter_or(
        {filter_equal(objects_.siteName("member"), dn), filter_equal(objects_.siteName("uniqueMember"), dn)});
}

std::vector<Name> LdapStore::groupsOf(const Entry &entry) {
    std::string dn = name_to_dn(entry.name, root_);
    if (groups_.count(dn) == 0) {
        LdapSearch wanted = {
            name_to_dn(objects_.searchBase(), root_), LDAP_SCOPE_SUBTREE, groupFilter(dn), {LDAP_NO_ATTRS}};
        LdapAnswer answer = servers_.search(wanted);
        if (answer.result == LDAP_SIZELIMIT_EXCEEDED) {
            throw DataError(catalogue_format(
                "%1$s: the list of groups of %2$s is incomplete: server size limit exceeded after %3$zu",
                tree_.name.c_str(), name_to_dotted(entry.name, true).c_str(), answer.entries.size()));
        }
        if (!answer.missing.empty())
            throw CodedError(answer.missingCode, answer.missing); // no list of groups is better than a short one
        std::vector<Name> &names = groups_[dn];
        for (const LdapEntry &one : answer.entries) {
            Name name;
            if (name_parse_dn(one.dn, root_, &name, nullptr) &&
                (one.origin.server.empty() ||
                 std::none_of(names.begin(), names.end(), [&](const Name &known) { return name_equal(known, name); })))
                names.push_back(std::move(name)); // two servers may have the same one
        }
    }
    return groups_[dn];
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
    if (!copyServes) filters.push_back(site_filter());
    std::vector<Name> own;
    for (size_t i = 0; i + objects_.searchBase().size() <= user.name.size(); i++)
        own.push_back(name_above(user.name, i));
    if (const std::string *profile = user.first("qrtProfile"))
        own.push_back(value_parse(schema_dn, *profile, root_).name);
    for (const Name &name : own) filters.push_back(filter_equal("entryDN", name_to_dn(name, root_)));
    LdapAnswer answer = objects_.search(objects_.searchBase(), LDAP_SCOPE_SUBTREE, filter_or(filters), false);
    if (answer.result == LDAP_SIZELIMIT_EXCEEDED) return; // each is asked for when it is wanted
    if (!copyServes) return keepSite(answer, user.name);
    for (const LdapEntry &one : answer.entries) objects_.keep(one);
}

void LdapStore::readSite() {
    if (siteRead_) return;
    LdapAnswer answer = objects_.search(objects_.searchBase(), LDAP_SCOPE_SUBTREE, site_filter(), false);
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

// What the server says of a login. Which of name and password was wrong is not distinguished by servers either.
Verdict LdapStore::verdictOf(const LdapAnswer &answer, const Entry &user) const {
    switch (answer.result) {
        case LDAP_SUCCESS:
            return Verdict::accepted;
        case LDAP_INVALID_CREDENTIALS:
        case LDAP_INAPPROPRIATE_AUTH:
        case LDAP_NO_SUCH_OBJECT:
        case LDAP_INVALID_DN_SYNTAX:
            return Verdict::wrongPassword;
        case LDAP_UNWILLING_TO_PERFORM:
        case LDAP_CONSTRAINT_VIOLATION:
        case LDAP_INSUFFICIENT_ACCESS:
            return Verdict::locked;
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

Verdict LdapStore::checkPassword(const Entry &entry, const char *password) {
    // A server treats a bind with an empty password as anonymous, and accepts it.
    if (*password == '\0') return Verdict::wrongPassword;
    return verdictOf(servers_.tryPassword({name_to_dn(entry.name, root_), password}, objects_.origin(entry.name)),
                     entry);
}

LdapAnswer LdapStore::bind(const Entry &user, const char *password) {
    return servers_.login({name_to_dn(user.name, root_), password}, objects_.origin(user.name));
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
    const Verdict verdict = verdictOf(answer, *asked);
    if (verdict == Verdict::wrongPassword) objects_.refuseWrongBase(); // no user can be below it
    if (verdict == Verdict::accepted) {
        try {
            *user = readUser(*asked);
        } catch (...) {
            if (!loggedIn_) logout();
            throw;
        }
        loggedIn_ = true;
    }
    return verdict;
}

// The server has taken the password: whatever goes wrong now is not the password's fault.
EntryPtr LdapStore::readUser(const Entry &asked) {
    forget();
    user_ = asked.name;
    try {
        readSession(asked);
        if (EntryPtr user = find(asked.name, Aliases::keep)) return user;
    } catch (const LdapTrouble &trouble) {
        throw CodedError(trouble.code, trouble.what()); // no copy stands in for a server that has answered
    }
    throw CodedError(ZKE_NO_ACCESS, catalogue_format("%1$s: the server has accepted the login of %2$s but does not "
                                                     "show the user's own entry",
                                                     tree_.name.c_str(), name_to_dotted(asked.name, true).c_str()));
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
    groups_.clear();
    site_.clear();
    siteRead_ = false;
}
