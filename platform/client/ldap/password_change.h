// How a user's password is changed at a server: by the operation of RFC 3062, or as Active Directory wants it.
#ifndef PLATFORM_CLIENT_LDAP_PASSWORD_CHANGE_H
#define PLATFORM_CLIENT_LDAP_PASSWORD_CHANGE_H

#include <string>

#include "platform/client/ldap/connection.h"

// On a connection that is logged in with the old password; `dn` is the entry's. Throws LdapTrouble before the new one
// has been sent, and afterwards CodedError: no other server is to be tried, since this one may have made the change.
LdapAnswer ldap_password_change(LdapConnection *connection, const std::string &dn, const LdapIdentity &before,
                                const LdapIdentity &after, LdapDeadline deadline);

// Throws what the server has against the change, CodedError with a code as of DirectoryStore::changePassword, unless
// the answer is a success.
void ldap_password_require_changed(const LdapAnswer &answer);

#endif
