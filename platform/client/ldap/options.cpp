#include "platform/client/ldap/options.h"

#include <algorithm>

#include "platform/catalogue.h"

namespace {

struct OptionRow {
    int option;
    int value;
};

} // namespace

static void must(int result, const LdapUri &address, const char *what) {
    if (result != LDAP_OPT_SUCCESS) {
        throw LdapTrouble(ZKE_DIRECTORY_UNREACHABLE,
                          catalogue_format("%1$s: libldap rejected %2$s", address.text.c_str(), what));
    }
}

timeval ldap_time_left(LdapDeadline deadline) {
    auto left = std::chrono::duration_cast<std::chrono::microseconds>(deadline - LdapClock::now()).count();
    left = std::max<long long>(left, 1000);
    return {static_cast<time_t>(left / 1'000'000), static_cast<suseconds_t>(left % 1'000'000)};
}

void ldap_options_set(LDAP *ld, const LdapUri &address, LdapDeadline deadline) {
    const OptionRow numbers[] = {
        {LDAP_OPT_PROTOCOL_VERSION, LDAP_VERSION3},
        {LDAP_OPT_DEREF, LDAP_DEREF_NEVER},
        {LDAP_OPT_SIZELIMIT, LDAP_NO_LIMIT},
        {LDAP_OPT_TIMELIMIT, LDAP_NO_LIMIT},
    };
    for (const OptionRow &row : numbers)
        must(ldap_set_option(ld, row.option, &row.value), address, catalogue_text("an option"));
    must(ldap_set_option(ld, LDAP_OPT_REFERRALS, LDAP_OPT_OFF), address, catalogue_text("an option"));
    must(ldap_set_option(ld, LDAP_OPT_RESTART, LDAP_OPT_OFF), address, catalogue_text("an option"));
    timeval left = ldap_time_left(deadline);
    must(ldap_set_option(ld, LDAP_OPT_NETWORK_TIMEOUT, &left), address, catalogue_text("a time limit"));
    must(ldap_set_option(ld, LDAP_OPT_TIMEOUT, &left), address, catalogue_text("a time limit"));
}

void ldap_options_set_tls(LDAP *ld, const LdapUri &address, const std::string &caFile, int requireCertificate) {
    const OptionRow numbers[] = {
        {LDAP_OPT_X_TLS_REQUIRE_CERT, requireCertificate},
        {LDAP_OPT_X_TLS_REQUIRE_SAN, LDAP_OPT_X_TLS_ALLOW}, // names in the certificate's list come before its subject
        {LDAP_OPT_X_TLS_PROTOCOL_MIN, LDAP_OPT_X_TLS_PROTOCOL_TLS1_2},
    };
    for (const OptionRow &row : numbers)
        must(ldap_set_option(ld, row.option, &row.value), address, catalogue_text("a TLS option"));
    // No certificate of the client's own, no authorities beside the configured file, the TLS library's own choice of
    // ciphers.
    for (int option :
         {LDAP_OPT_X_TLS_CACERTDIR, LDAP_OPT_X_TLS_CERTFILE, LDAP_OPT_X_TLS_KEYFILE, LDAP_OPT_X_TLS_CIPHER_SUITE})
        must(ldap_set_option(ld, option, nullptr), address, catalogue_text("a TLS option"));
    must(ldap_set_option(ld, LDAP_OPT_X_TLS_CACERTFILE, caFile.c_str()), address, catalogue_text("the CA file"));
    const int client = 0;
    if (ldap_set_option(ld, LDAP_OPT_X_TLS_NEWCTX, &client) != LDAP_OPT_SUCCESS) {
        throw LdapTrouble(ZKE_CERTIFICATE_REFUSED,
                          catalogue_format("%1$s: cannot use the CA file %2$s: it contains no valid certificate",
                                           address.text.c_str(), caFile.c_str()));
    }
}

// libldap has taken from the options into the TLS context, made by now, that the certificate must be verified. What it
// still looks up in them is whether to compare names.
void ldap_options_leave_out_name_check(LDAP *ld, const LdapUri &address) {
    const int allow = LDAP_OPT_X_TLS_ALLOW;
    must(ldap_set_option(ld, LDAP_OPT_X_TLS_REQUIRE_CERT, &allow), address, catalogue_text("a TLS option"));
}
