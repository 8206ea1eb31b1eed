// What is wrong with a server's certificate, in full words. The decision whether to take it is the TLS library's; this
// only explains it to the administrator.
#ifndef PLATFORM_CLIENT_LDAP_CERTIFICATE_H
#define PLATFORM_CLIENT_LDAP_CERTIFICATE_H

#include <string>
#include <string_view>
#include <vector>

struct CertificateFacts {
    std::string issuer;    // as a DN
    std::string notBefore; // YYYYMMDDHHMMSSZ
    std::string notAfter;
    std::vector<std::string> names; // DNS names and IP addresses
};

// Takes the facts from a certificate in DER. False for what cannot be read.
bool certificate_read(std::string_view der, CertificateFacts *facts);

// The fault that shows (expired, not yet valid, another name, otherwise the issuer), the expected name, the names in
// the certificate, its issuer and its expiry, as parts of a sentence.
std::string certificate_fault(std::string_view der, const std::string &expectedName);

#endif
