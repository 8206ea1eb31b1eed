#include "platform/client/ldap/uri.h"

#include <ldap.h>
#include <memory>

#include "platform/catalogue.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/names.h"

LdapUri ldap_uri_parse(const std::string &text) {
    LDAPURLDesc *parsed = nullptr;
    if (ldap_url_parse(text.c_str(), &parsed) != LDAP_URL_SUCCESS)
        throw DataError(text + ": " + catalogue_text("malformed URI"));
    std::unique_ptr<LDAPURLDesc, decltype(&ldap_free_urldesc)> owner(parsed, ldap_free_urldesc);
    LdapUri uri;
    uri.text = text;
    uri.tls = equal_nocase(parsed->lud_scheme, "ldaps");
    uri.local = equal_nocase(parsed->lud_scheme, "ldapi");
    uri.host = parsed->lud_host == nullptr ? "" : parsed->lud_host;
    if (uri.host.empty()) uri.host = uri.local ? "/var/run/slapd/ldapi" : "localhost";
    uri.certified = uri.host;
    uri.port = std::to_string(parsed->lud_port != 0 ? parsed->lud_port : uri.tls ? LDAPS_PORT : LDAP_PORT);
    return uri;
}
