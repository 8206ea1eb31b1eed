#include "platform/client/ldap/groups.h"

#include <algorithm>
#include <cstdlib>
#include <unordered_set>

#include "platform/catalogue.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/nested_groups.h"
#include "platform/client/ldap/filter.h"

std::string LdapGroups::memberFilter(const std::string &dn) {
    const SiteSchema &schema = objects_.schema();
    return filter_or(
        {filter_equal(schema.attributeOf("member"), dn), filter_equal(schema.attributeOf("uniqueMember"), dn)});
}

// Groups of accounts have their members' names, the others their DNs.
std::string LdapGroups::groupFilter(const Entry &entry) {
    const SiteSchema &schema = objects_.schema();
    std::vector<std::string> filters = {memberFilter(objects_.dnOf(entry))};
    const std::string *account = schema.listsAccounts ? entry.first("uid") : nullptr;
    if (account != nullptr) filters.push_back(filter_equal("memberUid", *account));
    return filter_or(filters);
}

// `member`: for messages.
LdapAnswer LdapGroups::searchGroups(const std::string &filter, const Name &member) {
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
    return answer;
}

std::vector<Name> LdapGroups::namesOf(const LdapAnswer &answer) const {
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

std::vector<Name> LdapGroups::readGroups(const std::string &filter, const Name &member) {
    return namesOf(searchGroups(filter, member));
}

static void add_new(const std::vector<Name> &found, std::vector<Name> *groups) {
    std::unordered_set<std::string> known;
    for (const Name &group : *groups) known.insert(name_fold(name_to_dotted(group, true)));
    for (const Name &group : found)
        if (known.insert(name_fold(name_to_dotted(group, true))).second) groups->push_back(group);
}

// The group that an account has without being its member: the domain's part of the account's own identifier, with the
// group's number at its end (MS-DTYP 2.4.2).
std::vector<Name> LdapGroups::readPrimaryGroup(const Entry &entry) {
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

// The groups of groups by the server's own rule, all in one search. Returns whether the server has used it.
bool LdapGroups::addChain(const Entry &entry, const std::vector<Name> &primary, std::vector<Name> *groups) {
    if (!objects_.findsNestedGroups()) return false;
    std::vector<std::string> members = {objects_.dnOf(entry)};
    for (const Name &group : primary) members.push_back(objects_.dnOf(group));
    std::vector<std::string> filters;
    for (const std::string &dn : members)
        filters.push_back("(" + objects_.schema().attributeOf("member") +
                          ":1.2.840.113556.1.4.1941:=" + filter_escaped(dn) + ")");
    const LdapAnswer answer = searchGroups(filter_or(filters), entry.name);
    if (answer.result != LDAP_SUCCESS) return false;
    add_new(namesOf(answer), groups);
    return true;
}

void LdapGroups::addNested(const Entry &entry, std::vector<Name> *groups) {
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

const std::vector<Name> &LdapGroups::of(const Entry &entry) {
    const std::string dn = objects_.dnOf(entry);
    if (groups_.count(dn) == 0) {
        std::vector<Name> groups = readGroups(groupFilter(entry), entry.name), primary;
        if (objects_.isOfAccounts()) primary = readPrimaryGroup(entry);
        add_new(primary, &groups);
        // The rule knows the attribute `member` alone, which is how accounts are in groups: others may be in them by
        // their names, or as uniqueMember.
        const bool isComplete = tree_.nestedGroups && addChain(entry, primary, &groups) && objects_.isOfAccounts();
        if (tree_.nestedGroups && !isComplete) addNested(entry, &groups);
        groups_[dn] = std::move(groups);
    }
    return groups_[dn];
}
