#include "platform/client/ldap/store.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <unordered_set>

#include "platform/catalogue.h"
#include "platform/client/core/entry_find.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/nested_groups.h"
#include "platform/client/core/start_environment.h"
#include "platform/client/core/values.h"
#include "platform/client/core/waiting.h"
#include "platform/client/ldap/filter.h"
#include "platform/client/ldap/password_change.h"
#include "platform/client/ldap/verdict.h"

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
    return objects_.isOfAccounts() && !loggedIn_ ? accountOf(name) : userSeen(name);
}

static EntryPtr unseen_user(const Name &name) {
    auto made = std::make_shared<Entry>();
    made->name = name;
    made->entryClass = schema_class_of({"person"});
    return made;
}

// A directory that shows nothing anonymously does not say who exists: the usual form of the name is assumed.
EntryPtr LdapStore::userSeen(const LoginName &name) {
    if (EntryPtr user = DirectoryStore::findUser(name)) return user;
    const bool isMailName = name.attribute.find('@') != std::string::npos;
    for (const Name &object : name.objects) {
        const std::optional<Name> likely = isMailName ? std::nullopt : objects_.unseen(object);
        if (likely) return unseen_user(*likely);
    }
    if (objects_.showsNothing() && name.attributeFirst) {
        if (!isMailName) { // one without a container is right below the place where users are searched
            Name user = objects_.searchBase();
            user.insert(user.begin(), {objects_.schema().userType, name.attribute});
            return unseen_user(user);
        }
        throw CodedError(ZKE_NO_ACCESS,
                         catalogue_format("%1$s: the server shows no users before a login: add the context of %2$s, or "
                                          "set default_context",
                                          tree_.name.c_str(), name.attribute.c_str()));
    }
    objects_.refuseWrongBase();
    return nullptr;
}

// The DNS name of a directory of accounts is that of its entries.
std::string LdapStore::accountDomain() {
    Name place = objects_.searchBase();
    Name above;
    name_parse_dn(tree_.base, {}, &above, nullptr);
    place.insert(place.end(), above.begin(), above.end());
    std::string domain;
    for (const NamePart &part : place)
        if (part.type == "dc") domain += (domain.empty() ? "" : ".") + part.value;
    return domain;
}

// Such a directory takes accounts by their own names: which entry is theirs it shows after the login.
EntryPtr LdapStore::accountOf(const LoginName &name) {
    error_unless(name.objects.empty() || !name.objects.front().empty(), ZKE_NO_SUCH_ENTRY);
    Account account;
    std::string leaf = name.attribute;
    const bool isMailName = name.attribute.find('@') != std::string::npos;
    // A name with a container that has no types may be an account's, "anna.meier": only the tree's own end of it, or a
    // period in front, tells an object's.
    const bool isObject = name.attribute.empty() || (name.attribute.find('.') != std::string::npos && !isMailName &&
                                                     !objects_.searchBase().empty() && !name.objects.empty() &&
                                                     objects_.likely(name.objects.front()));
    if (!name.account.empty()) {
        const std::string principal = name.account + "@" + accountDomain(); // whom a ticket is for
        account.bindName = tree_.ldap.gssapi ? principal : name.domain + "\\" + name.account;
        account.domain = name.domain;
        leaf = name.account;
    } else if (isObject && !name.objects.front().front().type.empty()) {
        account.bindName = name_to_dn(name.objects.front(), root_);
        account.filter = filter_equal(objects_.schema().dnAttribute, account.bindName);
    } else if (isMailName) {
        account.bindName = name.attribute;
        const size_t at = name.attribute.rfind('@');
        leaf = equal_nocase(name.attribute.substr(at + 1), accountDomain()) ? name.attribute.substr(0, at) : "";
    } else {
        if (isObject) {
            account.wanted = name.objects.front();
            leaf = account.wanted.front().value;
        }
        account.bindName = leaf + "@" + accountDomain();
    }
    if (account.filter.empty()) {
        account.exact = account.bindName;
        std::vector<std::string> filters = {filter_equal("userPrincipalName", account.bindName)};
        if (!leaf.empty()) filters.push_back(filter_equal(objects_.schema().userName, leaf));
        account.filter = filter_or(filters);
        if (name.domain.empty()) // whose realm nobody knows
            account.principal =
                kerberos_principal(leaf.empty() ? account.bindName : leaf, accountDomain(), leaf.empty());
    }
    account.entry = unseen_user({{"cn", leaf.empty() ? account.bindName : leaf}});
    account_ = account;
    return account.entry;
}

static std::string first_of(const LdapEntry &entry, const char *attribute) {
    for (const auto &[name, values] : entry.attributes)
        if (equal_nocase(name, attribute) && !values.empty()) return values.front();
    return "";
}

// A domain may take accounts of other domains, too, whose names this one has as well: is it this one's own name? It may
// be typed as DNS has it.
bool LdapStore::isOwnDomain(const std::string &typed) {
    if (equal_nocase(typed, accountDomain())) return true;
    const LdapAnswer root = servers_.search({"", LDAP_SCOPE_BASE, "(objectClass=*)", {"configurationNamingContext"}});
    const std::string where = root.entries.empty() ? "" : first_of(root.entries.front(), "configurationNamingContext");
    Name place = objects_.searchBase(), above;
    name_parse_dn(tree_.base, {}, &above, nullptr);
    place.insert(place.end(), above.begin(), above.end());
    place.erase(place.begin(),
                std::find_if(place.begin(), place.end(), [](const NamePart &one) { return one.type == "dc"; }));
    const std::string filter =
        filter_and({filter_equal("objectClass", "crossRef"), filter_equal("nCName", name_to_dn(place, {}))});
    const LdapAnswer names = servers_.search({where, LDAP_SCOPE_SUBTREE, filter, {"nETBIOSName"}});
    return !where.empty() && std::any_of(names.entries.begin(), names.entries.end(), [&](const LdapEntry &one) {
        return equal_nocase(first_of(one, "nETBIOSName"), typed);
    });
}

// Is it the entry of the account that the server takes the connection for, as far as it says so: "u:ADTEST\anna"?
static bool is_bound(const Entry &entry, const std::string &who) {
    const size_t slash = who.find('\\');
    return who.compare(0, 2, "u:") != 0 || slash == std::string::npos ||
           equal_nocase(who.substr(slash + 1), entry.name.front().value);
}

// The directory takes a principal's name before an account's.
EntryPtr LdapStore::readAccount(const Account &account) {
    constexpr int limit = 10;
    LdapSearch wanted = {objects_.dnOf(objects_.searchBase()), LDAP_SCOPE_SUBTREE, account.filter,
                         objects_.attributes(), limit};
    wanted.attributes.push_back("userPrincipalName");
    if (!account.domain.empty() && !isOwnDomain(account.domain)) return nullptr;
    const LdapAnswer answer = servers_.search(wanted);
    EntryPtr found;
    for (const LdapEntry &one : answer.entries) {
        const EntryPtr entry = objects_.keep(one);
        if (entry == nullptr || !entry->isClass("User")) continue;
        const bool isExact = equal_nocase(first_of(one, "userPrincipalName"), account.exact);
        if (found != nullptr && !isExact) continue;
        found = is_bound(*entry, account.who) ? entry : nullptr;
        if (isExact) break;
    }
    const bool isWanted =
        found == nullptr || account.wanted.empty() ||
        (name_key(account.wanted) == name_key(found->name) && name_may_be(account.wanted, found->name));
    error_unless(isWanted, ZKE_NO_SUCH_ENTRY);
    return found;
}

std::string LdapStore::memberFilter(const std::string &dn) {
    const SiteSchema &schema = objects_.schema();
    return filter_or(
        {filter_equal(schema.attributeOf("member"), dn), filter_equal(schema.attributeOf("uniqueMember"), dn)});
}

// Groups of accounts have their members' names, the others their DNs.
std::string LdapStore::groupFilter(const Entry &entry) {
    const SiteSchema &schema = objects_.schema();
    std::vector<std::string> filters = {memberFilter(objects_.dnOf(entry))};
    const std::string *account = schema.listsAccounts ? entry.first("uid") : nullptr;
    if (account != nullptr) filters.push_back(filter_equal("memberUid", *account));
    return filter_or(filters);
}

// `member`: for messages.
std::vector<Name> LdapStore::readGroups(const std::string &filter, const Name &member) {
    LdapSearch wanted = {objects_.dnOf(objects_.searchBase()), LDAP_SCOPE_SUBTREE, filter, {LDAP_NO_ATTRS}};
    wanted.paged = true;
    LdapAnswer answer = servers_.search(wanted);
    if (answer.result == LDAP_SIZELIMIT_EXCEEDED || answer.result == LDAP_ADMINLIMIT_EXCEEDED) {
        throw DataError(
            catalogue_format("%1$s: the list of groups of %2$s is incomplete: server size limit exceeded after %3$zu",
                             tree_.name.c_str(), name_to_dotted(member, true).c_str(), answer.entries.size()));
    }
    if (!answer.missing.empty())
        throw CodedError(answer.missingCode, answer.missing); // no list of groups is better than a short one
    std::vector<Name> names;
    for (const LdapEntry &one : answer.entries) {
        Name name;
        if (name_parse_dn(one.dn, root_, &name, nullptr) &&
            (one.origin.server.empty() ||
             std::none_of(names.begin(), names.end(), [&](const Name &known) { return name_equal(known, name); })))
            names.push_back(std::move(name)); // two servers may have the same one
    }
    return names;
}

static void add_new(const std::vector<Name> &found, std::vector<Name> *groups) {
    std::unordered_set<std::string> known;
    for (const Name &group : *groups) known.insert(name_fold(name_to_dotted(group, true)));
    for (const Name &group : found)
        if (known.insert(name_fold(name_to_dotted(group, true))).second) groups->push_back(group);
}

// The group that an account has without being its member: the domain's part of the account's own identifier, with the
// group's number at its end (MS-DTYP 2.4.2).
std::vector<Name> LdapStore::readPrimaryGroup(const Entry &entry) {
    constexpr size_t numberSize = 4, shortest = 8 + numberSize;
    const LdapAnswer answer =
        servers_.search({objects_.dnOf(entry), LDAP_SCOPE_BASE, "(objectClass=*)", {"objectSid", "primaryGroupID"}});
    std::string identifier;
    uint32_t number = 0;
    for (const LdapEntry &one : answer.entries) {
        for (const auto &[name, values] : one.attributes) {
            if (equal_nocase(name, "objectSid") && !values.empty()) identifier = values.front();
            if (equal_nocase(name, "primaryGroupID") && !values.empty())
                number = static_cast<uint32_t>(strtoul(values.front().c_str(), nullptr, 10));
        }
    }
    if (identifier.size() < shortest || number == 0) return {};
    for (size_t i = 0; i < numberSize; i++)
        identifier[identifier.size() - numberSize + i] = static_cast<char>(number >> (8 * i));
    return readGroups("(objectSid=" + filter_escaped_binary(identifier) + ")", entry.name);
}

// A directory of accounts finds the groups of groups itself.
void LdapStore::addChain(const Entry &entry, std::vector<Name> *groups) {
    const std::vector<Name> primary = readPrimaryGroup(entry);
    add_new(primary, groups);
    if (!tree_.nestedGroups) return;
    std::vector<std::string> members = {objects_.dnOf(entry)};
    for (const Name &group : primary) members.push_back(objects_.dnOf(group));
    std::vector<std::string> filters;
    for (const std::string &dn : members)
        filters.push_back("(" + objects_.schema().attributeOf("member") +
                          ":1.2.840.113556.1.4.1941:=" + filter_escaped(dn) + ")");
    add_new(readGroups(filter_or(filters), entry.name), groups);
}

void LdapStore::addNested(const Entry &entry, std::vector<Name> *groups) {
    constexpr size_t most = 2000; // in one search: servers limit the size of a request
    const auto level = [&](const std::vector<Name> &members) {
        std::vector<Name> found;
        std::vector<std::string> filters;
        for (size_t i = 0; i < members.size(); i++) {
            filters.push_back(memberFilter(name_to_dn(members[i], root_)));
            if (filters.size() < most && i + 1 < members.size()) continue;
            for (Name &group : readGroups(filter_or(filters), entry.name)) found.push_back(std::move(group));
            filters.clear();
        }
        return found;
    };
    nested_groups_add(tree_.name, entry.name, level, groups);
}

std::vector<Name> LdapStore::groupsOf(const Entry &entry) {
    const std::string dn = objects_.dnOf(entry);
    if (groups_.count(dn) == 0) {
        std::vector<Name> groups = readGroups(groupFilter(entry), entry.name);
        if (objects_.isOfAccounts())
            addChain(entry, &groups);
        else if (tree_.nestedGroups)
            addNested(entry, &groups);
        groups_[dn] = std::move(groups);
    }
    return groups_[dn];
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
    if (!copyServes) filters.push_back(site_filter());
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

// Some servers write into the entry when the lock ends; they need not show it.
time_t LdapStore::lockEnd(const Entry &user) {
    const std::string text = computed(user, "accountUnlockTime");
    try {
        return text.empty() ? 0 : value_parse(ZK_SYNTAX_TIME, text, root_).number;
    } catch (const DataError &) {
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
        const EntryPtr own = isAccount ? readAccount(account_) : nullptr;
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
            changeAtCentre(before, {who, newPassword});
        else
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
    others_.forget();
    site_.clear();
    siteRead_ = false;
}
