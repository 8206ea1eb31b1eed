// From what a server returns to the client's entries: the tree's own attribute names, and values that are checked
// one by one, since a directory that others maintain cannot be refused for one odd value.
#ifndef PLATFORM_CLIENT_LDAP_ENTRIES_H
#define PLATFORM_CLIENT_LDAP_ENTRIES_H

#include <string>
#include <unordered_map>
#include <vector>

#include "platform/client/core/directory_store.h"
#include "platform/client/core/site_schema.h"
#include "platform/client/ldap/connection.h"

class LdapEntries {
  public:
    // `anyName`: also entries with control characters in their names.
    LdapEntries(const ConfigLdap &config, const Name &base, bool anyName = false);

    LdapEntries(const LdapEntries &) = delete;
    LdapEntries &operator=(const LdapEntries &) = delete;

    const SiteSchema &schema() const { return schema_; }

    // What a read asks for: all attributes that the client returns or uses, passwords never, and no more of a group's
    // members than is returned. These are left out of reads that only want to know which groups there are.
    std::vector<std::string> attributes(bool withMembers) const;

    // Null for an entry that is not below the base or whose name the client cannot take. A value that is not of its
    // attribute's syntax counts as not there. Where the schema names users by an attribute, they have that name, and
    // `dn` is set.
    EntryPtr make(const LdapEntry &read) const;

  private:
    // A place from which a row is read: of several the one with the lowest rank that has a value.
    struct Use {
        const SchemaAttribute *row;
        const PresetSource *source;
        size_t rank;
    };

    bool add(const Use &use, const std::string &value, Entry *entry) const;
    const SchemaClass *classOf(const std::vector<std::string> &theirs) const;
    void addAll(const LdapEntry &read, Entry *entry) const;
    void nameUser(const LdapEntry &read, Entry *entry) const;

    Name base_;
    bool anyName_;
    SiteSchema schema_;
    std::unordered_multimap<std::string, Use> uses_; // by name_type of the tree's name
};

#endif
