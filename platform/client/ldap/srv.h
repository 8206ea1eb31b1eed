// Servers that DNS lists for a domain (RFC 2782): `_ldaps._tcp` and `_ldap._tcp` below the configured name. Whoever
// answers for a name server chooses what comes out of it: every server is asked over TLS, and is the site's own only by
// its certificate.
#ifndef PLATFORM_CLIENT_LDAP_SRV_H
#define PLATFORM_CLIENT_LDAP_SRV_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/client/core/config.h"
#include "platform/client/core/trouble.h"

struct LdapSrvRecord {
    std::string host; // letters, digits, hyphens, "_" and dots
    uint16_t port;    // not 0
    uint16_t priority;
    uint16_t weight;
};

struct LdapSrvServer {
    std::string uri;
    std::string certified; // whom its certificate has to name; empty: the URI's host
};

// The records of an answer that can be used; none for an answer that is malformed.
std::vector<LdapSrvRecord> ldap_srv_read(const std::vector<unsigned char> &answer);

// Puts the records into the order in which they are tried: by priority, and among equals by weight and chance.
// `below(n)` is any number below n.
void ldap_srv_order(std::vector<LdapSrvRecord> *records, const std::function<uint32_t(uint32_t)> &below);

// The servers in the order in which they are tried, those of `_ldaps._tcp` first. Throws LdapTrouble, with
// ZKE_HOST_LOOKUP_SILENT when no name server answers in time, and ZKE_DIRECTORY_UNREACHABLE when there are none.
std::vector<LdapSrvServer> ldap_srv_find(const ConfigLdap &config, LdapDeadline deadline);

// What messages call them together: "srv:school.example".
std::string ldap_srv_shown(const ConfigLdap &config);

#endif
