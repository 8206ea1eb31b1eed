// The groups of a user on LDAP servers: by their members' DNs or names, those of groups, and an account's primary one.
#ifndef PLATFORM_CLIENT_LDAP_GROUPS_H
#define PLATFORM_CLIENT_LDAP_GROUPS_H

#include <string>
#include <unordered_map>
#include <vector>

#include "platform/client/ldap/lookup.h"
#include "platform/client/ldap/servers.h"

class LdapGroups {
  public:
    // All must outlive the object.
    LdapGroups(const ConfigTree &config, const Name &base, LdapServers *servers, LdapLookup *objects)
        : tree_(config), root_(base), servers_(*servers), objects_(*objects) {}

    // As DirectoryStore::groupsOf; the servers are asked once for each entry. Throws LdapTrouble, and DataError for a
    // list that a server has cut off.
    const std::vector<Name> &of(const Entry &entry);

    // Another user may see other ones.
    void forget() { groups_.clear(); }

  private:
    std::string memberFilter(const std::string &dn);
    std::string groupFilter(const Entry &entry);
    LdapAnswer searchGroups(const std::string &filter, const Name &member);
    std::vector<Name> namesOf(const LdapAnswer &answer) const;
    std::vector<Name> readGroups(const std::string &filter, const Name &member);
    void addNested(const Entry &entry, std::vector<Name> *groups);
    bool addChain(const Entry &entry, const std::vector<Name> &primary, std::vector<Name> *groups);
    std::vector<Name> readPrimaryGroup(const Entry &entry);

    const ConfigTree &tree_;
    const Name &root_;
    LdapServers &servers_;
    LdapLookup &objects_;
    std::unordered_map<std::string, std::vector<Name>> groups_; // by the member's DN
};

#endif
