// The attributes of a user that the client's own schema does not have, by the names that the servers give them.
#ifndef PLATFORM_CLIENT_LDAP_OTHER_ATTRIBUTES_H
#define PLATFORM_CLIENT_LDAP_OTHER_ATTRIBUTES_H

#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/client/core/directory_store.h"
#include "platform/client/ldap/servers.h"

class LdapOtherAttributes {
  public:
    // Reads all attributes of the entry, and their syntaxes from the servers' schema. Throws LdapTrouble.
    void read(LdapServers *servers, const std::string &dn, const Name &base);
    bool hasRead() const { return read_; }

    // In any letter case, "_" standing for nothing. Null for one that the user does not have or that is never handed
    // out: whatever is not text, a name, a time or a number, and what is called a password, a key or a hash. The
    // attribute's row lives as long as this object.
    const OtherAttribute *find(std::string_view name) const;

    // Another user has others.
    void forget();

  private:
    const SchemaAttribute *rowOf(const std::string &name, uint32_t syntax);
    void add(const std::string &name, const std::vector<std::string> &values, uint32_t syntax, const Name &base);

    struct Row {
        std::string name;
        SchemaAttribute row;
    };
    bool read_ = false;
    std::deque<Row> rows_;                                  // never fewer: replies to reads name them
    std::unordered_map<std::string, OtherAttribute> found_; // by the name without letter case
};

#endif
