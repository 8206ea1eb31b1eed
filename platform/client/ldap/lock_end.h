// When the lock of an account ends, as far as the servers show it to somebody who is not logged in.
#ifndef PLATFORM_CLIENT_LDAP_LOCK_END_H
#define PLATFORM_CLIENT_LDAP_LOCK_END_H

#include <ctime>
#include <string>

#include "platform/client/ldap/servers.h"

// Of the entry `dn` of a tree below `base`: what the server has computed (accountUnlockTime), or the time of the lock
// and its length, which is in the policy that the entry names, else in the only one that is shown below the base. 0 for
// what is not known, and for a lock that ends when somebody ends it. Throws CodedError.
time_t ldap_lock_end(LdapServers *servers, const std::string &dn, const std::string &base);

#endif
