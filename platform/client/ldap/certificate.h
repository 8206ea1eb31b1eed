// Servers' certificates: what is wrong with one, in full words for the administrator, and whether one is good where
// libldap cannot be left to decide. All else about certificates is libldap's.
#ifndef PLATFORM_CLIENT_LDAP_CERTIFICATE_H
#define PLATFORM_CLIENT_LDAP_CERTIFICATE_H

#include <string>
#include <string_view>

// Is the certificate (in DER) valid today, made out to this name, and signed by an authority in the file? One that is
// signed by an authority in between is good only if that one is in the file as well.
bool certificate_is_good(std::string_view der, const std::string &name, const std::string &caFile);

// The fault that shows (expired, not yet valid, another name, otherwise the issuer), the expected name, the names in
// the certificate, its issuer and its expiry, as parts of a sentence.
std::string certificate_fault(std::string_view der, const std::string &name, const std::string &caFile);

#endif
