#include "platform/client/ldap/accounts.h"

#include <algorithm>

#include "platform/client/core/errors.h"
#include "platform/client/ldap/filter.h"

EntryPtr entry_unseen_user(const Name &name) {
    auto made = std::make_shared<Entry>();
    made->name = name;
    made->entryClass = schema_class_of({"person"});
    return made;
}

// The DNS name of a directory of accounts is that of its entries.
std::string LdapAccounts::domain() {
    Name place = objects_.searchBase();
    Name above;
    name_parse_dn(tree_.base, {}, &above, nullptr);
    place.insert(place.end(), above.begin(), above.end());
    std::string name;
    for (const NamePart &part : place)
        if (part.type == "dc") name += (name.empty() ? "" : ".") + part.value;
    return name;
}

// Such a directory takes accounts by their own names: which entry is theirs it shows after the login.
LdapAccount LdapAccounts::meant(const LoginName &name) {
    error_unless(name.objects.empty() || !name.objects.front().empty(), ZKE_NO_SUCH_ENTRY);
    LdapAccount account;
    std::string leaf = name.attribute;
    const bool isMailName = name.attribute.find('@') != std::string::npos;
    // A name with a container that has no types may be an account's, "anna.meier": only the tree's own end of it, or a
    // period in front, tells an object's.
    const bool isObject = name.attribute.empty() || (name.attribute.find('.') != std::string::npos && !isMailName &&
                                                     !objects_.searchBase().empty() && !name.objects.empty() &&
                                                     objects_.likely(name.objects.front()));
    if (!name.account.empty()) {
        const std::string principal = name.account + "@" + domain(); // whom a ticket is for
        account.bindName = tree_.ldap.gssapi ? principal : name.domain + "\\" + name.account;
        account.domain = name.domain;
        leaf = name.account;
    } else if (isObject && !name.objects.front().front().type.empty()) {
        account.bindName = name_to_dn(name.objects.front(), root_);
        account.filter = filter_equal(objects_.schema().dnAttribute, account.bindName);
    } else if (isMailName) {
        account.bindName = name.attribute;
        const size_t at = name.attribute.rfind('@');
        leaf = equal_nocase(name.attribute.substr(at + 1), domain()) ? name.attribute.substr(0, at) : "";
    } else {
        if (isObject) {
            account.wanted = name.objects.front();
            leaf = account.wanted.front().value;
        }
        account.bindName = leaf + "@" + domain();
    }
    if (account.filter.empty()) {
        account.exact = account.bindName;
        std::vector<std::string> filters = {filter_equal("userPrincipalName", account.bindName)};
        if (!leaf.empty()) filters.push_back(filter_equal(objects_.schema().userName, leaf));
        account.filter = filter_or(filters);
        if (name.domain.empty()) // whose realm nobody knows
            account.principal = kerberos_principal(leaf.empty() ? account.bindName : leaf, domain(), leaf.empty());
    }
    account.entry = entry_unseen_user({{"cn", leaf.empty() ? account.bindName : leaf}});
    return account;
}

// A domain may take accounts of other domains, too, whose names this one has as well: is it this one's own name? It may
// be typed as DNS has it.
bool LdapAccounts::isOwnDomain(const std::string &typed) {
    if (equal_nocase(typed, domain())) return true;
    const LdapAnswer root = servers_.search({"", LDAP_SCOPE_BASE, "(objectClass=*)", {"configurationNamingContext"}});
    const std::string where =
        root.entries.empty() ? "" : ldap_first_value(root.entries.front(), "configurationNamingContext");
    Name place = objects_.searchBase(), above;
    name_parse_dn(tree_.base, {}, &above, nullptr);
    place.insert(place.end(), above.begin(), above.end());
    place.erase(place.begin(),
                std::find_if(place.begin(), place.end(), [](const NamePart &one) { return one.type == "dc"; }));
    const std::string filter =
        filter_and({filter_equal("objectClass", "crossRef"), filter_equal("nCName", name_to_dn(place, {}))});
    const LdapAnswer names = servers_.search({where, LDAP_SCOPE_SUBTREE, filter, {"nETBIOSName"}});
    return !where.empty() && std::any_of(names.entries.begin(), names.entries.end(), [&](const LdapEntry &one) {
        return equal_nocase(ldap_first_value(one, "nETBIOSName"), typed);
    });
}

// Is it the entry of the account that the server takes the connection for, as far as it says so: "u:ADTEST\anna"?
static bool is_bound(const Entry &entry, const std::string &who) {
    const size_t slash = who.find('\\');
    return who.compare(0, 2, "u:") != 0 || slash == std::string::npos ||
           equal_nocase(who.substr(slash + 1), entry.name.front().value);
}

// The directory takes a principal's name before an account's.
EntryPtr LdapAccounts::read(const LdapAccount &account) {
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
        const bool isExact = equal_nocase(ldap_first_value(one, "userPrincipalName"), account.exact);
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
