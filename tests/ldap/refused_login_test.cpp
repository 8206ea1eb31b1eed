// Logins that a server lets pass although nobody has shown who they are, and servers that give way in the middle of
// one.
#include <memory>

#include "tests/ldap/hostile_server.h"
#include "tests/ldap/ldap_site.h"

namespace {

const char jane[] = "cn=jdoe,ou=sales,o=acme";

class LdapRefusal : public LdapSite {
  protected:
    LdapRefusal() { defaultServer = ""; }

    static Scripted::Answer janesEntry() {
        return {Scripted::entry(jane, {{"objectClass", "person"}, {"cn", "jdoe"}, {"sn", "Doe"}}), Scripted::done()};
    }
    void onScript(const HostileServer &server) { onServers({server.uri()}, "base = \"o=acme\"\n"); }
};

// What a server says to "Who am I?" when it has taken the login and checked nothing.
class LdapAnonymous : public LdapRefusal, public testing::WithParamInterface<const char *> {};

// The results of a bind by which servers say that the account may not log in, whatever the password.
class LdapPolicy : public LdapRefusal, public testing::WithParamInterface<int> {};

constexpr int constraint_violation = 19, insufficient_access_rights = 50, unwilling_to_perform = 53;

} // namespace

TEST_F(LdapRefusal, TheRootIsNoUserWhereAnonymousLoginsMayHavePasswords) {
    Slapd::Setup setup = sample();
    setup.global = "allow bind_anon_cred\n";
    Slapd server(setup);
    onServers({server.uri()});
    for (const char *name : {"[Root]", ".[Root]", "[root]"})
        for (const char *password : {"sunflower", ""}) {
            EXPECT_EQ(loginHere(name, password), ZKE_NO_SUCH_ENTRY) << name;
            EXPECT_EQ(ZKDSCanDSAuthenticate(here), 0u);
        }
    EXPECT_EQ(loginHere("jdoe.sales.acme", ""), ZKE_WRONG_PASSWORD);
    EXPECT_EQ(ZKLoginToFileServer(open_server("SRV2"), "[Root]", 256, "sunflower"), ZKE_NO_SUCH_ENTRY);
    EXPECT_EQ(login("[Root]", "sunflower").status, 5);
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    for (const std::string &operation : server.operations())
        EXPECT_THAT(operation, testing::Not(testing::StartsWith("BIND dn=\"\" method=128")));
}

TEST_F(LdapRefusal, TheBaseOfTheTreeIsNoUserEither) {
    Slapd server(sample());
    onServers({server.uri()}, "base = \"o=acme\"\n");
    EXPECT_EQ(loginHere("[Root]", "sunflower"), ZKE_NO_SUCH_ENTRY);
}

TEST_P(LdapAnonymous, IsNoLogin) {
    HostileServer server(Scripted{{{Scripted::bound()}}, {janesEntry()}, {{Scripted::youAre(GetParam())}}});
    onScript(server);
    EXPECT_EQ(loginHere("jdoe.sales", "anything"), ZKE_NO_ACCESS);
    EXPECT_EQ(lastError(), server.uri() +
                               ": the server treats the login of cn=jdoe,ou=sales,o=acme as anonymous: it has "
                               "not checked the password");
    EXPECT_EQ(ZKDSCanDSAuthenticate(here), 0u);
}

INSTANTIATE_TEST_SUITE_P(Answers, LdapAnonymous, testing::Values("", "dn:"));

TEST_P(LdapPolicy, RefusesTheLoginAsThatOfALockedAccount) {
    HostileServer server(
        Scripted{{{Scripted::bound(GetParam(), "by policy")}}, {janesEntry()}, {{Scripted::unknown()}}});
    HostileServer further(Scripted{{{Scripted::bound()}}, {janesEntry()}, {{Scripted::unknown()}}});
    onServers({server.uri(), further.uri()}, "base = \"o=acme\"\n");
    EXPECT_EQ(loginHere("jdoe.sales", "sunflower"), ZKE_ACCOUNT_LOCKED);
    EXPECT_EQ(lastError(), "CN=jdoe.OU=sales is locked");
    EXPECT_EQ(ZKDSCanDSAuthenticate(here), 0u);
    Outcome refused = login("jdoe.sales");
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.err, "qrtlogin: cannot log in as jdoe.sales to tree ACME: CN=jdoe.OU=sales is locked\n");
    EXPECT_EQ(server.logins(), 2);
    EXPECT_EQ(further.connections(), 0) << "a refusal is an answer";
}

TEST_P(LdapPolicy, EndsTheOfflineCopyOfTheLogin) {
    auto server = std::make_unique<HostileServer>(
        Scripted{{{Scripted::bound()}, {Scripted::bound(GetParam())}}, {janesEntry()}, {{Scripted::unknown()}}});
    onServers({server->uri()}, "base = \"o=acme\"\noffline = true\n");
    ASSERT_EQ(loginHere("jdoe.sales", "sunflower"), ZK_OK) << lastError();
    ASSERT_EQ(ZKDSLogout(here), ZK_OK);
    EXPECT_EQ(loginHere("jdoe.sales", "sunflower"), ZKE_ACCOUNT_LOCKED);
    server.reset();
    EXPECT_EQ(loginHere("jdoe.sales", "sunflower"), ZKE_DIRECTORY_UNREACHABLE) << lastError();
}

INSTANTIATE_TEST_SUITE_P(Results, LdapPolicy,
                         testing::Values(constraint_violation, insufficient_access_rights, unwilling_to_perform));

TEST_F(LdapRefusal, AServerThatNoLongerShowsTheUserHasTakenThePassword) {
    constexpr int size_limit_exceeded = 4;
    HostileServer server(Scripted{{{Scripted::bound()}},
                                  {janesEntry(), {Scripted::done(size_limit_exceeded)}, {Scripted::done()}},
                                  {{Scripted::unknown()}}});
    onScript(server);
    EXPECT_EQ(loginHere("jdoe.sales", "sunflower"), ZKE_NO_ACCESS);
    EXPECT_EQ(lastError(),
              "ACME: the server has accepted the login of CN=jdoe.OU=sales but does not show the user's own entry");
    EXPECT_EQ(ZKDSCanDSAuthenticate(here), 0u);
}

TEST_F(LdapRefusal, AServerThatFailsAfterTheLoginIsNoWrongPassword) {
    constexpr int busy = 51;
    HostileServer server(
        Scripted{{{Scripted::bound()}}, {janesEntry(), {Scripted::done(busy)}}, {{Scripted::unknown()}}});
    onScript(server);
    EXPECT_EQ(loginHere("jdoe.sales", "sunflower"), ZKE_DIRECTORY_UNREACHABLE);
    EXPECT_THAT(lastError(), testing::HasSubstr("the server reports: Server is busy"));
    EXPECT_EQ(ZKDSCanDSAuthenticate(here), 0u);
}

TEST_F(LdapRefusal, AServerThatHidesTheUserFromALaterLoginLeavesWhoWasLoggedIn) {
    HostileServer server(
        Scripted{{{Scripted::bound()}}, {janesEntry(), janesEntry(), {Scripted::done()}}, {{Scripted::unknown()}}});
    onScript(server);
    ASSERT_EQ(loginHere("jdoe.sales", "sunflower"), ZK_OK) << lastError();
    EXPECT_EQ(loginHere("jdoe.sales", "sunflower"), ZKE_NO_ACCESS);
    EXPECT_EQ(who_am_i(here), "jdoe.sales");
}

// The script names the tree and the user: a server that records what it receives.
TEST_F(LdapRefusal, AScriptSendsTheLoginsPasswordToNoOtherTree) {
    HostileServer attacker(Scripted{{{Scripted::bound()}}, {janesEntry()}, {{Scripted::unknown()}}});
    home.write("steal.qrt", "TREE EVIL/.jdoe.sales\nTREE EVIL/.jdoe.sales\nWRITE \"after\"\n");
    const std::string trees = "[[tree]]\nname = \"ACME\"\nldif = \"" SOURCE_DIR
                              "/examples/acme/acme.ldif\"\n[[tree]]\nname = \"EVIL\"\nbase = \"o=acme\"\nuris = [\"" +
                              attacker.uri() + "\"]\nallow_cleartext_loopback = true\n";
    environment["ZKCLIENT_CONF"] = folder.path("client.toml");
    configure(trees);
    EXPECT_THAT(loginWithScript(home.path("steal.qrt")).out, testing::HasSubstr("after"));
    EXPECT_EQ(attacker.logins(), 0);
    configure(trees + "share_password = true\n");
    EXPECT_THAT(loginWithScript(home.path("steal.qrt")).out, testing::HasSubstr("after"));
    EXPECT_EQ(attacker.logins(), 1) << "the tree that the site has chosen";
}

TEST_F(LdapRefusal, AServerThatSaysNothingReadableOfTheUserIsNotBelieved) {
    HostileServer server(Scripted{{{Scripted::bound()}}, {janesEntry()}, {{"\x78\x03\x0A\x01\x02"}}});
    onScript(server);
    EXPECT_EQ(loginHere("jdoe.sales", "anything"), ZKE_ANSWER_MALFORMED) << lastError();
    EXPECT_EQ(ZKDSCanDSAuthenticate(here), 0u);
}

TEST_F(LdapRefusal, AServerThatCannotSayWhoTheUserIsIsBelieved) {
    HostileServer server(Scripted{{{Scripted::bound()}}, {janesEntry()}, {{Scripted::unknown()}}});
    onScript(server);
    EXPECT_EQ(loginHere("jdoe.sales", "sunflower"), ZK_OK) << lastError();
    EXPECT_EQ(who_am_i(here), "jdoe.sales");
}
