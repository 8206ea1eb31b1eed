// What a server's answer to a login means for the password and the account: by the policy controls, by the sub-codes in
// the texts of Active Directory, by the texts of 389 Directory Server.
#ifndef PLATFORM_CLIENT_LDAP_VERDICT_H
#define PLATFORM_CLIENT_LDAP_VERDICT_H

#include "platform/client/core/verdict.h"
#include "platform/client/ldap/answer.h"

// Seconds from `now` to the moment that Active Directory has computed for the end of a password, 0 when that has
// passed; Verdict::not_said for one that never ends, and for what is no such number.
int64_t ldap_password_lasts(const std::string &computed, time_t now);

// Of an answer that is no trouble of the server's: success, or a refusal.
Verdict ldap_verdict(const LdapAnswer &answer);

#endif
