// A login with the user's Kerberos ticket from the credential cache (SASL's GSSAPI). The libraries behind it look names
// up and ask key distribution centres, for as long as they please: here it ends with the caller's time.
#ifndef PLATFORM_CLIENT_LDAP_TICKET_H
#define PLATFORM_CLIENT_LDAP_TICKET_H

#include <memory>
#include <string>

#include "platform/client/ldap/stream.h"

struct LdapTicketResult {
    int result = 0;    // LDAP's, or libldap's own
    std::string words; // what the libraries or the server say of it
    std::string user;  // whose ticket it is, "jdoe@ACME.EXAMPLE"; empty when the libraries do not say
};

// Binds the handle, which stays the work's own when the time is over: then false, and the handle is of no more use.
// Where no TLS protects the connection (`secured`), the ticket's key has to encrypt it. Throws LdapTrouble when nothing
// could be started.
bool ldap_ticket_bind(const std::shared_ptr<LdapWire> &wire, bool secured, LdapDeadline deadline,
                      LdapTicketResult *told);

#endif
