// All answers of a login together have a limit.
#include <gtest/gtest.h>

#include "platform/client/ldap/servers.h"
#include "platform/zk.h"
#include "tests/support/slapd.h"

TEST(LoginLimit, CountsAllAnswersUntilTheNextLogin) {
    Slapd::Setup setup;
    setup.ldif = sample_ldif();
    Slapd server(setup);
    ConfigLdap config;
    config.cleartextLoopback = true;
    config.uris = {server.uri()};
    config.loginLimit = 40000;
    LdapServers servers(config);
    const LdapSearch users = {"o=acme", LDAP_SCOPE_SUBTREE, "(objectClass=person)", {"cn", "sn"}};
    auto asks = [&]() { return servers.search(users).entries.size(); };
    auto asksUntilItEnds = [&]() {
        for (int i = 0; i < 1000; i++) {
            try {
                asks();
            } catch (const CodedError &trouble) {
                EXPECT_EQ(trouble.code, ZKE_ANSWER_TOO_LARGE) << trouble.what();
                return i;
            }
        }
        return 1000;
    };
    int first = asksUntilItEnds();
    EXPECT_GT(first, 2) << "no single answer is too large";
    EXPECT_LT(first, 1000);
    EXPECT_THROW(asks(), CodedError) << "it stays so";
    servers.logout();
    EXPECT_EQ(asksUntilItEnds(), first);
    ASSERT_EQ(servers.login({"cn=jdoe,ou=sales,o=acme", "sunflower"}, {}).result, LDAP_SUCCESS);
    EXPECT_EQ(asksUntilItEnds(), first);
}
