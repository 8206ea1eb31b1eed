// Logins with the user's Kerberos ticket, and what is reported when there is none or a wrong one.

#include "platform/client/ldap/stream.h"
#include "tests/ldap/kerberos.h"
#include "tests/ldap/ldap_site.h"

// The Kerberos library's own: gss_inquire_context makes a name, and then says that the context has expired.
#define LEAKS_OF_OTHERS "leak:libgssapi_krb5.so\n"
extern "C" __attribute__((visibility("default"))) const char *__lsan_default_suppressions();
extern "C" const char *__lsan_default_suppressions() {
    return LEAKS_OF_OTHERS;
}

namespace {

class LdapTicket : public LdapSite {
  protected:
    LdapTicket() {
        for (const auto &[name, value] : realm.variables()) environment[name] = value;
        home.write("leaks", LEAKS_OF_OTHERS);
        environment["LSAN_OPTIONS"] = "print_suppressions=0:suppressions=" + home.path("leaks");
    }
    // The server's own name, since tickets go by it.
    static std::string named(const Slapd &server) { return "ldap://localhost:" + std::to_string(server.port()); }
    static Slapd::Setup withTickets() {
        Slapd::Setup setup = sample();
        setup.global =
            "sasl-host localhost\n"
            "authz-regexp uid=([^,]*),cn=gssapi,cn=auth cn=$1,ou=sales,o=acme\n"
            "authz-regexp uid=([^,]*),cn=[^,]*,cn=gssapi,cn=auth cn=$1,ou=sales,o=acme\n";
        return setup;
    }
    void onTickets(const std::vector<std::string> &uris, const std::string &more = "") {
        onStrictServers(uris, "sasl_gssapi = true\n" + more);
    }
    Kerberos realm{{"jdoe", "admin"}};
};

} // namespace

TEST_F(LdapTicket, LogsTheUserInWithoutAnyPassword) {
    onTheEmbeddedTree();
    std::string expected = login().out;
    Slapd server(withTickets());
    onTickets({named(server)});
    realm.getTicket("jdoe");
    EXPECT_EQ(login("jdoe.sales.acme", "not the password"), (Outcome{0, expected, ""}));
    EXPECT_EQ(loginWithoutPassword(), (Outcome{0, expected, ""}));
    EXPECT_EQ(loginHere("jdoe.sales.acme", ""), ZK_OK) << lastError();
    EXPECT_EQ(who_am_i(here), "jdoe.sales.acme");
    EXPECT_THAT(server.log(), testing::Not(testing::HasSubstr("mech=SIMPLE")));
}

TEST_F(LdapTicket, EncryptsWhatIsReadWhereThereIsNoTls) {
    Slapd server(withTickets());
    onTickets({named(server)});
    realm.getTicket("jdoe");
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    EXPECT_EQ(read(here, "admin.acme", "Full Name"), std::vector<std::string>{"Pat Ashby"}) << lastError();
    EXPECT_THAT(server.log(), testing::ContainsRegex("mech=GSSAPI bind_ssf=[1-9]"));
}

TEST_F(LdapTicket, AMissingOneIsReportedInFullWords) {
    Slapd server(withTickets());
    onTickets({named(server)});
    EXPECT_EQ(loginHere(), ZKE_TICKET_REFUSED);
    EXPECT_THAT(lastError(), testing::AllOf(testing::StartsWith(named(server) +
                                                                ": Kerberos login failed: no ticket for this server: "),
                                            testing::HasSubstr("No Kerberos credentials available")));
    Outcome outcome = login();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, testing::HasSubstr("the Kerberos ticket is missing or was rejected: " + named(server)));
}

TEST_F(LdapTicket, OneThatHasExpiredIsReported) {
    Slapd server(withTickets());
    onTickets({named(server)});
    realm.getExpiredTicket("jdoe");
    EXPECT_EQ(loginHere(), ZKE_TICKET_REFUSED);
    EXPECT_THAT(lastError(), testing::HasSubstr("expired"));
    Outcome outcome = loginWithoutPassword();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, testing::HasSubstr("the Kerberos ticket is missing or was rejected: " + named(server)));
}

TEST_F(LdapTicket, SomebodyElsesIsNoLogin) {
    Slapd server(withTickets());
    onTickets({named(server)});
    realm.getTicket("admin");
    EXPECT_EQ(loginHere(), ZKE_TICKET_REFUSED);
    EXPECT_THAT(lastError(),
                testing::HasSubstr("the ticket belongs to cn=admin,ou=sales,o=acme, not to cn=jdoe,ou=sales,o=acme"));
    EXPECT_EQ(ZKDSCanDSAuthenticate(here), 0u);
}

TEST_F(LdapTicket, OneThatTheServerCannotReadIsReportedAsTheTicketsFault) {
    Slapd server(withTickets());
    onTickets({named(server)});
    realm.changeServiceKey();
    realm.getTicket("jdoe");
    EXPECT_EQ(loginHere(), ZKE_TICKET_REFUSED);
    EXPECT_THAT(lastError(), testing::HasSubstr("Kerberos login failed: the server rejected the ticket: "));
}

TEST_F(LdapTicket, AServerThatIsDownIsPassedOver) {
    Slapd server(withTickets());
    onTickets({"ldap://localhost:" + std::to_string(free_port()), named(server)});
    realm.getTicket("jdoe");
    EXPECT_EQ(loginHere(), ZK_OK) << lastError();
}

TEST_F(LdapTicket, ASilentCentreCostsNoMoreThanTheTimeLimit) {
    Slapd server(withTickets());
    onTickets({named(server)}, "time_limit = 0.8\n");
    realm.getTicket("jdoe"); // the ticket for the server is still to be asked for
    realm.fallSilent();
    LdapDeadline start = LdapClock::now();
    EXPECT_EQ(loginHere(), ZKE_SERVER_SILENT);
    EXPECT_LT(LdapClock::now() - start, std::chrono::seconds(4));
    EXPECT_THAT(lastError(), testing::HasSubstr("no answer from the server or the key distribution centre"));
}

TEST_F(LdapTicket, AnotherUsersPasswordIsStillAPassword) {
    Slapd server(withTickets());
    onTickets({named(server)}, "allow_cleartext_loopback = true\n");
    realm.getTicket("jdoe");
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    uint32_t other = open_server("SRV2");
    EXPECT_EQ(ZKLoginToFileServer(other, "admin", 256, "wrong"), ZKE_WRONG_PASSWORD);
    EXPECT_EQ(ZKLoginToFileServer(other, "admin", 256, "starfish"), ZK_OK) << lastError();
}

// What the tools of administrators do with --as, as jdoe, who alone may read and change.
TEST_F(LdapTicket, IsTheLoginOfAnAdministratorToo) {
    Slapd::Setup setup = withTickets();
    setup.access = "access to * by dn.exact=\"cn=jdoe,ou=sales,o=acme\" write by anonymous auth by * none\n";
    Slapd server(setup);
    onTickets({named(server)});
    folder.write("new.qrt", "IF NOT MEMBER OF \".managers.acme\" THEN WRITE \"Hello, %FULL_NAME.\"\n");
    const std::string file = folder.path("new.qrt");
    const auto tool = [&](Words words, const char *as = "jdoe.sales.acme") {
        words.insert(words.begin(), QRTSCRIPT_PATH);
        words.insert(words.end(), {"--as", as});
        return process_run(words, environment);
    };
    for (const Words &words : {Words{"put", "mlee.emea.sales.acme", file, "--yes"}, Words{"check", file},
                               Words{"plan", "--user", "mlee.emea.sales.acme", file}})
        EXPECT_THAT(tool(words).err, testing::HasSubstr("the Kerberos ticket is missing or was rejected")) << words[0];
    realm.getTicket("jdoe");
    const Outcome put = tool({"put", "mlee.emea.sales.acme", file, "--yes"});
    EXPECT_EQ(put.status, 0) << put.err;
    EXPECT_EQ(tool({"get", "mlee.emea.sales.acme"}), (Outcome{0, file_text(file), ""}));
    EXPECT_EQ(tool({"check", "--user", ".mlee.emea.sales.acme", ".mlee.emea.sales.acme"}), (Outcome{0, "", ""}));
    const Outcome plan = tool({"plan", "--user", "mlee.emea.sales.acme"});
    EXPECT_THAT(plan.out, testing::HasSubstr("as jdoe.sales.acme.\n")) << plan.err;
    EXPECT_THAT(plan.out, testing::HasSubstr("Hello, Mina Lee.")) << plan.err;
    // A ticket is for its own user.
    EXPECT_THAT(tool({"get", "mlee.emea.sales.acme"}, "admin.acme").err,
                testing::HasSubstr("cannot log in as admin.acme to tree ACME: "));
    EXPECT_THAT(server.log(), testing::Not(testing::HasSubstr("mech=SIMPLE")));
}
