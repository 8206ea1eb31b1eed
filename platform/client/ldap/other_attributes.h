// The attributes of a user that the client's own schema does not have, as the servers have them.
#ifndef PLATFORM_CLIENT_LDAP_OTHER_ATTRIBUTES_H
#define PLATFORM_CLIENT_LDAP_OTHER_ATTRIBUTES_H

#include <string>
#include <string_view>

#include "platform/client/core/other_attributes.h"
#include "platform/client/ldap/servers.h"

class LdapOtherAttributes {
  public:
    // Reads all attributes of the entry, and their syntaxes from the servers' schema. Throws LdapTrouble.
    void read(LdapServers *servers, const std::string &dn, const Name &base);
    bool hasRead() const { return read_; }

    // As of OtherAttributes.
    const OtherAttribute *find(std::string_view name) const { return found_.find(name); }

    // Another user has others.
    void forget();

  private:
    bool read_ = false;
    OtherAttributes found_;
};

#endif
