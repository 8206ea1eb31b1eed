// The parts of a server's URI.
#ifndef PLATFORM_CLIENT_LDAP_URI_H
#define PLATFORM_CLIENT_LDAP_URI_H

#include <string>

struct LdapUri {
    std::string text;   // as configured
    bool tls = false;   // ldaps
    bool local = false; // ldapi
    std::string host;   // the path for ldapi
    std::string port;
    std::string certified; // whom the server's certificate has to name: the host, unless somebody else knows better
};

// Throws DataError for a text that is no such URI.
LdapUri ldap_uri_parse(const std::string &text);

#endif
