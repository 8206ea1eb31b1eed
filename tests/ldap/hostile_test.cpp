// A server that does everything wrong costs a login no more than its time limit, and is reported by its own code and
// words.

#include "platform/client/ldap/stream.h"
#include "tests/ldap/hostile_server.h"
#include "tests/ldap/ldap_site.h"

namespace {

struct Case {
    Hostility hostility;
    const char *scheme;
    uint32_t code;
    const char *words;
};

void PrintTo(const Case &one, std::ostream *out) {
    *out << one.words << " over " << one.scheme;
}

class HostileLdap : public LdapSite, public testing::WithParamInterface<Case> {};

} // namespace

TEST_P(HostileLdap, EndsInTimeWithItsOwnCodeAndWords) {
    HostileServer server(GetParam().hostility);
    onServers({server.uri(GetParam().scheme)}, "time_limit = 0.8\n");
    LdapDeadline start = LdapClock::now();
    EXPECT_EQ(loginHere(), GetParam().code);
    // The time limit and a wide margin for a busy machine, but far from libldap's own idea of waiting.
    EXPECT_LT(LdapClock::now() - start, std::chrono::seconds(4));
    EXPECT_THAT(lastError(), testing::AllOf(testing::StartsWith(server.uri(GetParam().scheme) + ": "),
                                            testing::HasSubstr(GetParam().words)));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, HostileLdap,
    testing::Values(Case{Hostility::Silent, "ldap", ZKE_SERVER_SILENT, "timed out waiting for the answer"},
                    Case{Hostility::Drips, "ldap", ZKE_ANSWER_CUT_SHORT, "timed out in the middle of the answer"},
                    Case{Hostility::Garbage, "ldap", ZKE_ANSWER_MALFORMED, "is not valid LDAP"},
                    Case{Hostility::WrongInside, "ldap", ZKE_ANSWER_MALFORMED, "is not valid LDAP"},
                    Case{Hostility::ClaimsTwoGiga, "ldap", ZKE_ANSWER_TOO_LARGE, "is too large"},
                    Case{Hostility::ClosesMidAnswer, "ldap", ZKE_SERVER_CLOSED,
                         "closed the connection in the middle of its answer"},
                    Case{Hostility::ClosesAtOnce, "ldap", ZKE_SERVER_CLOSED,
                         "closed the connection instead of answering a request"},
                    Case{Hostility::Silent, "ldaps", ZKE_SERVER_SILENT,
                         "timed out waiting for the answer to the TLS handshake"},
                    Case{Hostility::ClosesAtOnce, "ldaps", ZKE_SERVER_CLOSED, "TLS handshake failed"},
                    Case{Hostility::Garbage, "ldaps", ZKE_ANSWER_MALFORMED, "TLS handshake failed"}));
