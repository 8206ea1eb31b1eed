// The options of a handle of libldap: each one is set, whatever an ldaprc file or the environment says.
#ifndef PLATFORM_CLIENT_LDAP_OPTIONS_H
#define PLATFORM_CLIENT_LDAP_OPTIONS_H

#include <ldap.h>
#include <sys/time.h>
#include <string>

#include "platform/client/core/trouble.h"
#include "platform/client/ldap/uri.h"

// Never nothing, which libldap would take for no limit.
timeval ldap_time_left(LdapDeadline deadline);

// All throw LdapTrouble, which names the server at `address`, when libldap rejects one.
void ldap_options_set(LDAP *ld, const LdapUri &address, LdapDeadline deadline);
// `requireCertificate`: LDAP_OPT_X_TLS_DEMAND or LDAP_OPT_X_TLS_NEVER.
void ldap_options_set_tls(LDAP *ld, const LdapUri &address, const std::string &caFile, int requireCertificate);
// After the above: the certificate must still be verified, but may be made out to another name.
void ldap_options_leave_out_name_check(LDAP *ld, const LdapUri &address);

#endif
