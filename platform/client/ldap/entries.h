// From what a server returns to the client's entries: the tree's own attribute names, and values that are checked
// one by one, since a directory that others maintain cannot be refused for one odd value.
#ifndef PLATFORM_CLIENT_LDAP_ENTRIES_H
#define PLATFORM_CLIENT_LDAP_ENTRIES_H

#include <string>
#include <unordered_map>
#include <vector>

#include "platform/client/core/config.h"
#include "platform/client/core/directory_store.h"
#include "platform/client/ldap/connection.h"

class LdapEntries {
  public:
    // `anyName`: also entries with control characters in their names.
    LdapEntries(const ConfigLdap &config, const Name &base, bool anyName = false);

    // The name that this tree gives to the attribute.
    const std::string &siteName(const char *ldap) const;

    // What a read asks for: all attributes that the client returns or uses, passwords never, and no more of a group's
    // members than is returned. These are left out of reads that only want to know which groups there are.
    std::vector<std::string> attributes(bool withMembers) const;

    // Null for an entry that is not below the base or whose name the client cannot take. A value that is not of its
    // attribute's syntax counts as not there.
    EntryPtr make(const LdapEntry &read) const;

  private:
    void add(const SchemaAttribute *row, const std::string &value, Entry *entry) const;

    Name base_;
    bool anyName_;
    std::unordered_multimap<std::string, const SchemaAttribute *> rows_; // by name_type of the tree's name
    std::unordered_map<const SchemaAttribute *, std::string> names_;
};

#endif
