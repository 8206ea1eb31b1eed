// Who asks the servers.
#ifndef PLATFORM_CLIENT_LDAP_IDENTITY_H
#define PLATFORM_CLIENT_LDAP_IDENTITY_H

#include <optional>
#include <string>

#include "platform/common/secret.h"

// Who a connection is to be bound as; an empty DN is anonymous. Another server may need the password at any
// time of a login, so that it has to be kept; it is kept masked with random bytes, so that neither a search through the
// memory nor a core file shows it as text.
class LdapIdentity {
  public:
    LdapIdentity() = default;
    LdapIdentity(const std::string &distinguishedName, const char *secret);

    const std::string &dn() const { return dn_; }
    // The password as text.
    Secret revealed() const;

  private:
    std::string dn_;
    std::optional<Secret> masked_;
    std::optional<Secret> mask_;
};

#endif
