// Host names to addresses, and libldap's own start, which looks a name up too: neither takes longer than the caller
// has.
#ifndef PLATFORM_CLIENT_LDAP_RESOLVER_H
#define PLATFORM_CLIENT_LDAP_RESOLVER_H

#include <netdb.h>
#include <functional>
#include <memory>
#include <string>

#include "platform/client/core/bounded.h"
#include "platform/client/core/trouble.h"
#include "platform/client/ldap/uri.h"

struct FreeAddresses {
    void operator()(addrinfo *list) const { freeaddrinfo(list); }
};
using LdapAddresses = std::unique_ptr<addrinfo, FreeAddresses>;

// The addresses of the URI's host. Throws LdapTrouble: ZKE_HOST_LOOKUP_SILENT when the resolver does not answer in
// time, ZKE_DIRECTORY_UNREACHABLE when it knows no such host.
LdapAddresses ldap_resolve(const LdapUri &uri, LdapDeadline deadline);

// Starts a look-up on a thread of its own; LdapTrouble, for `what`, when there can be none.
Bounded ldap_lookup_start(const std::string &what, std::function<void()> work);

// Has to be called before anything else of libldap that makes or sets a handle; the first call decides whether SASL's
// mechanisms are loaded. Throws LdapTrouble, ZKE_HOST_LOOKUP_SILENT, until libldap is ready.
void ldap_library_ready(bool saslMechanisms, LdapDeadline deadline);

// From here on they are loaded in any case.
void ldap_library_keep_mechanisms();

#endif
