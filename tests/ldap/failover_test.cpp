// Several servers for one tree: whatever one of them does, the login goes on with the next.
#include <unistd.h>

#include "platform/client/ldap/connection.h"
#include "tests/ldap/hostile_server.h"
#include "tests/ldap/ldap_site.h"
#include "tests/ldap/replicas.h"

namespace {

class LdapFailover : public LdapSite {
  protected:
    std::string expectedOutput() {
        onTheEmbeddedTree();
        return login().out;
    }
};

std::string refusing_uri() {
    return "ldap://127.0.0.1:" + std::to_string(free_port());
}

int lowest_free_descriptor() {
    int lowest = dup(STDERR_FILENO);
    close(lowest);
    return lowest;
}

} // namespace

TEST_F(LdapFailover, ClosesItsSocketWhenLibldapTakesTheUriForAList) {
    HostileServer server(Hostility::Garbage);
    ConfigLdap config;
    const int lowest = lowest_free_descriptor();
    LdapDeadline deadline = LdapClock::now() + std::chrono::seconds(5);
    EXPECT_THROW(LdapConnection(config, server.uri() + "/dc=acme,dc=example", deadline), LdapTrouble);
    // The server counts what it has accepted, which may be later.
    for (int looks = 0; looks < 1000 && server.connections() == 0; looks++) usleep(10000);
    EXPECT_EQ(server.connections(), 1);
    EXPECT_EQ(lowest_free_descriptor(), lowest);
}

TEST_F(LdapFailover, PassesOverAServerThatRefuses) {
    std::string expected = expectedOutput();
    Slapd server(sample());
    onServers({refusing_uri(), server.uri()});
    EXPECT_EQ(login(), (Outcome{0, expected, ""}));
}

TEST_F(LdapFailover, PassesOverEveryKindOfHostileServer) {
    Slapd server(sample());
    for (Hostility hostility : {Hostility::Silent, Hostility::Drips, Hostility::Garbage, Hostility::ClaimsTwoGiga,
                                Hostility::ClosesMidAnswer, Hostility::WrongInside}) {
        SCOPED_TRACE(static_cast<int>(hostility));
        HostileServer hostile(hostility);
        onServers({hostile.uri(), server.uri()}, "time_limit = 2.0\n");
        Outcome outcome = login();
        EXPECT_NE(outcome.out.find("There are requests to approve."), std::string::npos);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
    }
}

TEST_F(LdapFailover, GoesOnWhenTheServerDiesInTheBindOrInASearch) {
    const std::string expected = expectedOutput();
    Slapd server(sample());
    for (const Hostility hostility : {Hostility::DiesAtBind, Hostility::DiesAtSearch}) {
        HostileServer dying(hostility, server.port());
        onServers({dying.uri(), server.uri()});
        EXPECT_EQ(login().out, expected);
    }
}

TEST_F(LdapFailover, TheNextServerIsAskedAsTheSameUser) {
    Slapd first(sample()), second(forUsersOnly());
    onServers({first.uri(), second.uri()});
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    first.kill();
    EXPECT_EQ(read(here, "admin.acme", "Full Name"), std::vector<std::string>{"Pat Ashby"}) << lastError();
}

TEST_F(LdapFailover, AServerThatFailedIsLeftAloneForAWhile) {
    // One that fails at once leaves a busy machine all the time there is.
    Slapd second(sample());
    HostileServer failing(Hostility::ClosesMidAnswer);
    onServers({failing.uri(), second.uri()}, "time_limit = 600\nretry_after = 3600\n");
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    for (const char *name : {"admin.acme", "news.acme", "mlee.emea.sales.acme", "managers.acme", "none.acme"})
        base_class(here, name);
    EXPECT_EQ(failing.connections(), 1);
}

TEST_F(LdapFailover, WhenAllServersAreDownAFurtherRequestDoesNotWaitAgain) {
    HostileServer one(Hostility::Silent);
    HostileServer two(Hostility::Garbage);
    onServers({one.uri(), two.uri()}, "time_limit = 0.5\n");
    for (int i = 0; i < 3; i++) EXPECT_EQ(loginHere(), ZKE_DIRECTORY_UNREACHABLE);
    EXPECT_EQ(lastError(), one.uri() + ": timed out waiting for the answer to a request; " + two.uri() +
                               ": the server's answer to a request is not valid LDAP");
    EXPECT_EQ(one.connections() + two.connections(), 2);
}

TEST_F(LdapFailover, AServerThatFailedIsAskedAgainLater) {
    Slapd server(sample());
    HostileServer hostile(Hostility::ClosesMidAnswer);
    onServers({hostile.uri(), server.uri()}, "retry_after = 0.001\n");
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    ASSERT_EQ(ZKDSLogout(here), ZK_OK);
    int before = hostile.connections();
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    EXPECT_GT(hostile.connections(), before);
}

TEST_F(LdapFailover, AWrongPasswordIsNoReasonToAskTheNextServer) {
    Slapd first(sample());
    Slapd second(sample());
    onServers({first.uri(), second.uri()});
    EXPECT_EQ(loginHere("jdoe.sales.acme", "wrong"), ZKE_WRONG_PASSWORD);
    EXPECT_TRUE(second.operations().empty());
}

// A tree that is there is not an unknown one.
TEST_F(LdapFailover, AScriptsChangeToATreeOfUnreachableServersHasItsOwnCode) {
    const std::string acme = "[[tree]]\nname = \"ACME\"\nldif = \"" SOURCE_DIR "/examples/acme/acme.ldif\"\n";
    configure(acme + "[[tree]]\nname = \"LAB\"\nuris = [\"" + refusing_uri() +
              "\"]\nbase = \"o=lab\"\n[[tree]]\nname = \"BAD\"\nldif = \"none.ldif\"\n");
    environment["ZKCLIENT_CONF"] = folder.path("client.toml");
    home.write("lab.qrt", "TREE lab/.kim.lab;orchid\nTREE BAD/.kim.lab;orchid\nTREE NOWHERE\nWRITE \"%FULL_NAME\"\n");
    EXPECT_THAT(loginWithScript(home.path("lab.qrt")).out,
                testing::EndsWith("\nCould not Login into tree: lab FFFFE010\n"
                                  "Could not Login into tree: BAD FFFFE011\n"
                                  "Could not Login into tree: NOWHERE FFFFFD42\nJane Doe\n"));
    open_server("LAB");
    EXPECT_EQ(lastCode, ZKE_DIRECTORY_UNREACHABLE) << "nobody is logged in";
    ASSERT_EQ(loginHere(), ZK_OK);
    const uint32_t handle = context();
    EXPECT_EQ(text_info(open_server("LAB"), ZK_INFO_TREE_NAME), "LAB_____________________________");
    for (int i = 0; i < 2; i++) EXPECT_EQ(ZKDSSetContext(handle, DCK_TREE_NAME, "LAB"), ZKE_DIRECTORY_UNREACHABLE);
}

TEST_F(LdapFailover, ATreeWhoseServersAnswerAgainIsChangedToAgain) {
    const int port = free_port();
    const std::string acme = "[[tree]]\nname = \"ACME\"\nldif = \"" SOURCE_DIR "/examples/acme/acme.ldif\"\n";
    configure(acme + "[[tree]]\nname = \"LAB\"\nuris = [\"ldap://127.0.0.1:" + std::to_string(port) +
              "\"]\nallow_cleartext_loopback = true\nretry_after = 0.001\n");
    ASSERT_EQ(loginHere(), ZK_OK);
    open_server("LAB");
    EXPECT_EQ(lastCode, ZK_OK);
    const uint32_t handle = context();
    EXPECT_EQ(ZKDSSetContext(handle, DCK_TREE_NAME, "LAB"), ZKE_DIRECTORY_UNREACHABLE);
    Slapd::Setup setup = sample();
    setup.port = port;
    Slapd server(setup);
    EXPECT_EQ(ZKDSSetContext(handle, DCK_TREE_NAME, "LAB"), ZK_OK) << lastError();
    EXPECT_EQ(text_info(open_server("LAB"), ZK_INFO_SERVER_NAME), "SRV1");
}

TEST_F(LdapFailover, UnreachableServersAreNoWrongPassword) {
    const std::string one = refusing_uri();
    const std::string two = refusing_uri();
    onServers({one, two});
    Outcome outcome = login();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, testing::HasSubstr("cannot reach the directory server: " + one +
                                                ": cannot connect: Connection refused; " + two +
                                                ": cannot connect: Connection refused"));
}

TEST_F(LdapFailover, OneOfTwoReplicatedProvidersMayDieAtAnyMoment) {
    std::string expected = expectedOutput();
    const int ports[] = {free_port(), free_port()};
    Slapd one(mutual_provider(1, ports[0], ports[1], sample_ldif()));
    Slapd two(mutual_provider(2, ports[1], ports[0], ""));
    await_copy_of_the_sample(two);
    HostileServer dying(Hostility::DiesAtBind, one.port());
    onServers({dying.uri(), two.uri()});
    EXPECT_EQ(login().out, expected) << "in the bind";

    onServers({one.uri(), two.uri()});
    EXPECT_EQ(login().out, expected) << "not at all";
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    one.kill();
    EXPECT_EQ(read(here, "admin.acme", "Full Name"), std::vector<std::string>{"Pat Ashby"}) << "after the bind";
    EXPECT_EQ(login().out, expected) << "before the bind";
}
