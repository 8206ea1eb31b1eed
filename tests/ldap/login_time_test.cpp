// The time of a login, as the next one finds it.

#include <poll.h>

#include "tests/ldap/hostile_server.h"
#include "tests/ldap/ldap_site.h"

namespace {

using testing::HasSubstr;
using testing::Not;

class LdapLoginTime : public LdapSite {
  protected:
    static Slapd::Setup writable(const std::string &who) {
        Slapd::Setup setup = sample();
        const std::string jdoe = "dn: cn=jdoe,ou=sales,o=acme\n";
        setup.ldif.insert(setup.ldif.find(jdoe) + jdoe.size(), "qrtLastLoginTime: 20200101000000Z\n");
        setup.access =
            "access to attrs=userPassword by anonymous auth by * none\naccess to attrs=qrtLastLoginTime by " + who +
            " write by * read\naccess to * by * read\n";
        return setup;
    }
    static std::string timeAt(const Slapd &server) {
        const Outcome outcome =
            process_run({"/usr/bin/ldapsearch", "-x", "-LLL", "-H", server.uri(), "-b", "cn=jdoe,ou=sales,o=acme", "-s",
                         "base", "(objectClass=*)", "qrtLastLoginTime"},
                        process_environment());
        const size_t at = outcome.out.find("qrtLastLoginTime: ");
        return at == std::string::npos ? "" : outcome.out.substr(at + 18, 15);
    }
    // Nobody waits for the server to have written it.
    static std::string timeAfter(const Slapd &server, const std::string &before) {
        for (int tries = 0; tries < 500 && timeAt(server) == before; tries++) poll(nullptr, 0, 10);
        return timeAt(server);
    }
};

} // namespace

TEST_F(LdapLoginTime, IsWrittenAfterTheScriptsAndReadBeforeThem) {
    Slapd server(writable("self"));
    onServers({server.uri()});
    const std::string before = timeAt(server);
    home.write("time.qrt", "LASTLOGINTIME\n");
    const Outcome first = loginWithScript(home.path("time.qrt"));
    ASSERT_EQ(first.status, 0) << first.err;
    const std::string after = timeAfter(server, before);
    EXPECT_NE(after, before);
    EXPECT_THAT(first.out, HasSubstr("2020\n")) << "the time of the login before";
    const Outcome second = loginWithScript(home.path("time.qrt"));
    EXPECT_THAT(second.out, HasSubstr("Last Login occurred at: "));
    EXPECT_THAT(second.out, HasSubstr(" " + after.substr(0, 4) + "\n")) << "the year that the first one has written";
    EXPECT_NE(second.out, first.out);
}

TEST_F(LdapLoginTime, WhoMayNotWriteItLogsInAllTheSame) {
    Slapd server(writable("dn.exact=cn=admin,o=acme"));
    onServers({server.uri()});
    const std::string before = timeAt(server);
    const Outcome outcome = login();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(timeAt(server), before);
}

TEST_F(LdapLoginTime, AUserWithoutOneWritesNone) {
    Slapd server(sample());
    onServers({server.uri()});
    ASSERT_EQ(login().status, 0);
    EXPECT_THAT(server.log(), Not(HasSubstr(" MOD ")));
}

// The server takes the change and says nothing more, and the limit for an answer is longer than any test may take.
TEST_F(LdapLoginTime, ThatItIsWrittenIsNotWaitedFor) {
    const Scripted::Answer found = {
        Scripted::entry(
            "cn=jdoe,ou=sales,o=acme",
            {{"objectClass", "person"}, {"cn", "jdoe"}, {"sn", "Doe"}, {"qrtLastLoginTime", "20200101000000Z"}}),
        Scripted::entry("cn=SRV1,o=acme", {{"objectClass", "qrtServer"}, {"cn", "SRV1"}}), Scripted::done()};
    const Scripted::Answer silence;
    HostileServer server(Scripted{{{Scripted::bound()}}, {found}, {{Scripted::unknown()}}, {silence}});
    onServers({server.uri()}, "base = \"o=acme\"\ntime_limit = 600\n");
    const Outcome outcome = scriptOf("jdoe.sales", "sunflower", "LASTLOGINTIME\n");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out, HasSubstr("2020\n"));
    for (int tries = 0; tries < 500 && server.modifies() == 0; tries++) poll(nullptr, 0, 10);
    EXPECT_EQ(server.modifies(), 1);
}
