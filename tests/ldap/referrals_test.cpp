// Servers that say that another one has what is asked for.

#include "platform/client/ldap/referrals.h"
#include "platform/client/ldap/servers.h"
#include "tests/ldap/hostile_server.h"
#include "tests/ldap/ldap_site.h"
#include "tests/support/certificates.h"

namespace {

// The branch's own server: the organization again, and below it what the other server only refers to.
const char branch_tree[] = R"(
dn: o=acme
objectClass: organization
o: acme

dn: ou=branch,o=acme
objectClass: organizationalUnit
ou: branch

dn: cn=kim,ou=branch,o=acme
objectClass: inetOrgPerson
cn: kim
sn: Kim
displayName: Kim Park
userPassword: daisy

dn: cn=friends,ou=branch,o=acme
objectClass: groupOfNames
cn: friends
member: cn=jdoe,ou=sales,o=acme
)";

class LdapReferral : public LdapSite {
  protected:
    static std::string referral(const std::string &server) {
        return "\ndn: ou=branch,o=acme\nobjectClass: referral\nobjectClass: extensibleObject\nou: branch\nref: " +
               server + "/ou=branch,o=acme\n";
    }
    // The sample, and a referral for the branch.
    static Slapd::Setup referring(const std::string &server) {
        Slapd::Setup setup = sample();
        setup.ldif += referral(server);
        return setup;
    }
    static Slapd::Setup branch() {
        Slapd::Setup setup;
        setup.ldif = branch_tree;
        return setup;
    }
    Slapd::Setup securedBranch() {
        Slapd::Setup setup = branch();
        setup.schemes = "ldaps";
        setup.global = certificates.serverLines();
        return setup;
    }
    std::string caFile() { return "ca_file = \"" + certificates.path("ca.pem") + "\"\n"; }
    // Referrals are followed; the login is sent to the named servers.
    std::string following(const std::string &named = "") {
        return "referrals = true\n" + caFile() + "referral_servers = [" + (named.empty() ? "" : "\"" + named + "\"") +
               "]\n";
    }
    static std::vector<std::string> logins(Slapd *server) {
        std::vector<std::string> found;
        for (const std::string &operation : server->operations())
            if (operation.compare(0, 5, "BIND ") == 0) found.push_back(operation);
        return found;
    }
    Certificates certificates;
};

LdapSearch from_sales(int scope) {
    return {"ou=sales,o=acme", scope, "(cn=x)", {}};
}

} // namespace

TEST_F(LdapReferral, IsNotFollowedUnlessTheConfigurationSaysSo) {
    Slapd other(branch());
    Slapd server(referring(other.uri()));
    onServers({server.uri()});
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    EXPECT_TRUE(read(here, "kim.branch.acme", "Full Name").empty());
    EXPECT_EQ(loginHere("kim.branch.acme", "daisy"), ZKE_NO_SUCH_ENTRY);
    EXPECT_EQ(other.operations(), std::vector<std::string>());
}

TEST_F(LdapReferral, IsFollowedWhereTheConfigurationSaysSo) {
    Slapd other(branch());
    Slapd server(referring(other.uri()));
    onServers({server.uri()}, following());
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    EXPECT_EQ(read(here, "kim.branch.acme", "Full Name"), std::vector<std::string>{"Kim Park"}) << lastError();
    EXPECT_EQ(read(here, "admin.acme", "Full Name"), std::vector<std::string>{"Pat Ashby"}) << lastError();
    EXPECT_THAT(read(here, "jdoe.sales.acme", "Group Membership"),
                testing::IsSupersetOf({std::string("friends.branch.acme"), std::string("managers.acme")}));
}

TEST_F(LdapReferral, TakesNoPasswordToAnotherServerInTheClear) {
    Slapd other(branch());
    Slapd server(referring(other.uri()));
    onServers({server.uri()}, following(other.uri()));
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    EXPECT_EQ(read(here, "kim.branch.acme", "Full Name"), std::vector<std::string>{"Kim Park"}) << lastError();
    ASSERT_EQ(ZKDSLogout(here), ZK_OK);
    // The configuration allows passwords in the clear for the servers that it names, not for those that they name.
    EXPECT_EQ(loginHere("kim.branch.acme", "daisy"), ZKE_TLS_REQUIRED);
    EXPECT_EQ(
        lastError(),
        other.uri() +
            ": the password was not sent: this server was reached through a referral without end-to-end encryption");
    EXPECT_EQ(logins(&other), std::vector<std::string>());
}

TEST_F(LdapReferral, OverTlsTheUserIsTheSameThere) {
    Slapd::Setup setup = securedBranch();
    setup.access =
        "access to attrs=userPassword by anonymous auth by * none\n"
        "access to attrs=displayName by users read by * none\naccess to * by * read\n";
    Slapd other(setup);
    Slapd server(referring(other.uri("ldaps")));
    onServers({server.uri()}, following(other.uri("ldaps")));
    EXPECT_EQ(loginHere("kim.branch.acme", "wrong"), ZKE_WRONG_PASSWORD);
    ASSERT_EQ(loginHere("kim.branch.acme", "daisy"), ZK_OK) << lastError();
    EXPECT_EQ(who_am_i(here), "kim.branch.acme");
    EXPECT_EQ(read(here, "kim.branch.acme", "Full Name"), std::vector<std::string>{"Kim Park"}) << lastError();
    EXPECT_EQ(read(here, "admin.acme", "Full Name"), std::vector<std::string>{"Pat Ashby"}) << lastError();
    ASSERT_EQ(ZKDSLogout(here), ZK_OK);
    EXPECT_TRUE(read(here, "kim.branch.acme", "Full Name").empty());
}

// The attacker's server has a good certificate, the user's own entry with a password of the attacker's, and a name that
// only the referral object tells.
TEST_F(LdapReferral, NoLoginIsSentToAServerThatTheConfigurationDoesNotName) {
    Slapd attacker(securedBranch());
    Slapd server(referring(attacker.uri("ldaps")));
    onServers({server.uri()}, following("ldaps://127.0.0.1:" + std::to_string(server.port())));
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    EXPECT_EQ(read(here, "kim.branch.acme", "Full Name"), std::vector<std::string>{"Kim Park"}) << "asked as nobody";
    ASSERT_EQ(ZKDSLogout(here), ZK_OK);
    EXPECT_EQ(loginHere("kim.branch.acme", "daisy"), ZKE_REFERRAL_BROKEN);
    EXPECT_EQ(lastError(), attacker.uri("ldaps") +
                               ": the login was not sent: a referral leads to a server that is not in "
                               "referral_servers");
    EXPECT_EQ(ZKLoginToFileServer(open_server("SRV2"), "kim.branch.acme", 256, "daisy"), ZKE_REFERRAL_BROKEN);
    EXPECT_EQ(logins(&attacker), std::vector<std::string>());
}

TEST_F(LdapReferral, ACertificateIsVerifiedThereToo) {
    Slapd other(securedBranch());
    Slapd server(referring(other.uri("ldaps")));
    Certificates others;
    onServers({server.uri()}, "referrals = true\nca_file = \"" + others.path("ca.pem") + "\"\n");
    EXPECT_EQ(loginHere("kim.branch.acme", "daisy"), ZKE_CERTIFICATE_REFUSED);
    EXPECT_THAT(lastError(), testing::AllOf(testing::StartsWith(server.uri() + ": cannot follow referral: "),
                                            testing::HasSubstr("it is not signed by an authority in the CA file")));
    EXPECT_EQ(loginHere(), ZK_OK) << lastError();
}

TEST_F(LdapReferral, ALoopEnds) {
    const int port = free_port();
    Slapd::Setup back = sample();
    back.ldif =
        "dn: o=acme\nobjectClass: organization\no: acme\n" + referral("ldap://127.0.0.1:" + std::to_string(port));
    Slapd other(back);
    Slapd::Setup there = referring(other.uri());
    there.port = port;
    Slapd server(there);
    onServers({server.uri()}, following());
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    EXPECT_EQ(base_class(here, "kim.branch.acme"), "");
    EXPECT_EQ(lastCode, ZKE_REFERRAL_BROKEN);
    EXPECT_THAT(lastError(), testing::AllOf(testing::StartsWith(server.uri() + ": cannot follow referral: "),
                                            testing::HasSubstr("referral loop at ")));
    EXPECT_EQ(base_class(here, "admin.acme"), "User") << lastError();
}

TEST_F(LdapReferral, AChainThatGoesOnAndOnEnds) {
    HostileServer endless(Hostility::RefersOn);
    Slapd server(referring(endless.uri()));
    onServers({server.uri()}, following());
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    EXPECT_EQ(base_class(here, "kim.branch.acme"), "");
    EXPECT_EQ(lastCode, ZKE_REFERRAL_BROKEN);
    EXPECT_THAT(lastError(), testing::HasSubstr("exceeds the limit of 8 referrals"));
}

TEST_F(LdapReferral, ASilentServerBehindItCostsTheTimeLimitOnceAndHidesNothingElse) {
    HostileServer silent(Hostility::Silent);
    Slapd server(referring(silent.uri()));
    onServers({server.uri()}, following() + "time_limit = 0.8\n");
    LdapDeadline start = LdapClock::now();
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    EXPECT_EQ(read(here, "admin.acme", "Full Name"), std::vector<std::string>{"Pat Ashby"}) << lastError();
    EXPECT_EQ(base_class(here, "kim.branch.acme"), "");
    EXPECT_EQ(lastCode, ZKE_SERVER_SILENT) << "not: there is no such object";
    EXPECT_TRUE(read(here, "jdoe.sales.acme", "Group Membership").empty()) << "a list that may be too short";
    EXPECT_LT(LdapClock::now() - start, std::chrono::seconds(4));
    EXPECT_EQ(silent.connections(), 1);
}

TEST_F(LdapReferral, TheNextOfItsServersIsUsed) {
    Slapd other(branch());
    Slapd::Setup setup = referring("ldap://127.0.0.1:" + std::to_string(free_port()));
    setup.ldif += "ref: " + other.uri() + "/ou=branch,o=acme\n";
    Slapd server(setup);
    onServers({server.uri()}, following());
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    EXPECT_EQ(read(here, "kim.branch.acme", "Full Name"), std::vector<std::string>{"Kim Park"}) << lastError();
}

// Whose user is known already when it goes.
TEST_F(LdapReferral, AServerThatIsGoneAtALoginIsLeftAloneForAWhile) {
    Slapd::Setup setup = branch();
    auto other = std::make_unique<Slapd>(setup);
    Slapd server(referring(other->uri()));
    onServers({server.uri()}, following(other->uri()) + "retry_after = 3600\n");
    here = context();
    EXPECT_EQ(base_class(here, "kim.branch.acme"), "User");
    EXPECT_EQ(loginHere("kim.branch.acme", "daisy"), ZKE_TLS_REQUIRED) << "the password would cross in the clear";
    setup.port = other->port();
    other.reset();
    EXPECT_EQ(loginHere("kim.branch.acme", "daisy"), ZKE_DIRECTORY_UNREACHABLE);
    other = std::make_unique<Slapd>(setup);
    EXPECT_EQ(loginHere("kim.branch.acme", "daisy"), ZKE_DIRECTORY_UNREACHABLE);
    EXPECT_THAT(lastError(), testing::EndsWith("cannot connect: Connection refused"));
}

TEST_F(LdapReferral, OnlyAServerThatCouldBeAnothersIsDistrusted) {
    const LdapSearch everything = {"o=acme", LDAP_SCOPE_SUBTREE, "(cn=kim)", {"cn"}};
    const Certificates others;
    Slapd secured(securedBranch());
    ConfigLdap config;
    config.referrals = true;
    config.caFile = others.path("ca.pem");
    for (const bool isSecured : {false, true}) {
        Slapd server(referring(isSecured ? secured.uri("ldaps") : "ldap://127.0.0.1:" + std::to_string(free_port())));
        config.uris = {server.uri()};
        config.retryAfter = 3600;
        LdapServers servers(config);
        EXPECT_EQ(servers.search(everything).missingCode,
                  isSecured ? ZKE_CERTIFICATE_REFUSED : ZKE_DIRECTORY_UNREACHABLE);
        EXPECT_EQ(servers.haveDistrusted(), isSecured);
        config.retryAfter = 1e-9;
        LdapServers forgetting(config);
        EXPECT_NE(forgetting.search(everything).missing, "");
        EXPECT_FALSE(forgetting.haveDistrusted()) << "it is asked again";
    }
}

namespace {

// What comes of an answer that refers to other servers, all of them scripted.
class LdapReferralAnswers : public testing::Test {
  protected:
    LdapReferralAnswers() {
        config.referrals = true;
        config.cleartextLoopback = true;
        config.timeLimit = 600;
    }
    static Scripted searches(const std::vector<Scripted::Answer> &answers) {
        return {{{Scripted::bound()}}, answers, {{Scripted::unknown()}}};
    }
    static std::string kim() { return Scripted::entry("cn=kim,o=acme", {{"cn", "kim"}}); }
    // The answer of a server that says this; its URI is what a sentence begins with.
    LdapAnswer asking(const Scripted::Answer &answer) {
        server = std::make_unique<HostileServer>(searches({answer}));
        config.uris = {server->uri()};
        servers = std::make_unique<LdapServers>(config);
        return servers->search(everything);
    }
    std::string missing(const std::string &why) const { return server->uri() + ": cannot follow referral: " + why; }

    const LdapSearch everything = {"o=acme", LDAP_SCOPE_SUBTREE, "(objectClass=*)", {"cn"}};
    ConfigLdap config;
    std::unique_ptr<HostileServer> server;
    std::unique_ptr<LdapServers> servers;
};

} // namespace

TEST_F(LdapReferralAnswers, TheResultIsThatOfTheServerThatHasTheAnswer) {
    for (int result : {0, LDAP_NO_SUCH_OBJECT, LDAP_SIZELIMIT_EXCEEDED}) {
        HostileServer other(searches({{kim(), Scripted::done(result)}}));
        LdapAnswer answer = asking({Scripted::done(LDAP_REFERRAL, "", {other.uri() + "/o=acme"})});
        EXPECT_EQ(answer.result, result);
        ASSERT_EQ(answer.entries.size(), 1u);
        EXPECT_EQ(answer.entries[0].origin.server, other.uri());
        EXPECT_FALSE(answer.entries[0].origin.trusted) << "it was reached in the clear";
        EXPECT_EQ(answer.missing, "");
        answer = asking({kim(), Scripted::reference({other.uri() + "/ou=branch,o=acme"}), Scripted::done()});
        EXPECT_EQ(answer.result, result == LDAP_SIZELIMIT_EXCEEDED ? result : 0) << "the rest is only a part";
        ASSERT_EQ(answer.entries.size(), 2u);
        EXPECT_EQ(answer.entries[0].origin.server, "");
        EXPECT_EQ(answer.entries[1].origin.server, other.uri());
    }
}

TEST_F(LdapReferralAnswers, AServerThatIsReferredToMayReferOn) {
    HostileServer last(searches({{kim(), Scripted::done()}}));
    HostileServer middle(searches({{Scripted::done(LDAP_REFERRAL, "", {last.uri() + "/o=acme"})}}));
    const LdapAnswer answer = asking({Scripted::done(LDAP_REFERRAL, "", {middle.uri() + "/ou=x,o=acme"})});
    ASSERT_EQ(answer.entries.size(), 1u);
    EXPECT_EQ(answer.entries[0].origin.server, last.uri());
}

TEST_F(LdapReferralAnswers, AConnectionThatWasIdleIsMadeAnew) {
    HostileServer other(searches({{kim(), Scripted::done()}}));
    EXPECT_EQ(asking({Scripted::reference({other.uri() + "/o=b"}), Scripted::done()}).entries.size(), 1u);
    EXPECT_EQ(servers->search(everything).entries.size(), 1u);
    EXPECT_EQ(other.connections(), 1);
    other.closeConnection();
    EXPECT_EQ(servers->search(everything).entries.size(), 1u);
    EXPECT_EQ(other.connections(), 2);
    servers->logout();
    EXPECT_EQ(servers->search(everything).entries.size(), 1u);
    EXPECT_EQ(other.connections(), 3) << "a connection serves one user only";
}

TEST_F(LdapReferralAnswers, AServerThatFailsAtOnceIsLeftAlone) {
    HostileServer other(Hostility::ClosesAtOnce);
    for (int i = 0; i < 2; i++) {
        const LdapAnswer answer = i == 0 ? asking({Scripted::reference({other.uri() + "/o=b"}), Scripted::done()})
                                         : servers->search(everything);
        EXPECT_EQ(answer.missing,
                  missing(other.uri() + ": the server closed the connection instead of answering a request"));
        EXPECT_EQ(answer.missingCode, ZKE_SERVER_CLOSED);
    }
    EXPECT_EQ(other.connections(), 1);
}

TEST_F(LdapReferralAnswers, WhatCannotBeFollowedIsReportedOfEachServer) {
    const std::string refused = "ldap://127.0.0.1:" + std::to_string(free_port());
    const std::string refusal = refused + ": cannot connect: Connection refused";
    LdapAnswer answer = asking({Scripted::reference({"http://a/", refused + "/"}), Scripted::done()});
    EXPECT_EQ(answer.missing, missing("http://a/ is not a usable LDAP URL; " + refusal));
    EXPECT_EQ(answer.missingCode, ZKE_DIRECTORY_UNREACHABLE) << "as they failed in different ways";
    answer = asking({Scripted::reference({"http://a/", "http://b/"}), Scripted::done()});
    EXPECT_EQ(answer.missing, missing("http://a/ is not a usable LDAP URL; http://b/ is not a usable LDAP URL"));
    EXPECT_EQ(answer.missingCode, ZKE_REFERRAL_BROKEN);
    answer = asking({Scripted::reference({"http://a/"}), Scripted::reference({refused + "/"}), Scripted::done()});
    EXPECT_EQ(answer.missing, missing("http://a/ is not a usable LDAP URL")) << "of several the first";
    EXPECT_EQ(answer.missingCode, ZKE_REFERRAL_BROKEN);
    answer = asking({Scripted::done(LDAP_REFERRAL)});
    EXPECT_EQ(answer.missing, missing("the referral names no server"));
    EXPECT_EQ(answer.missingCode, ZKE_REFERRAL_BROKEN);
    EXPECT_EQ(answer.result, LDAP_REFERRAL);
}

TEST_F(LdapReferralAnswers, OnlySoManyPlacesAreAsked) {
    HostileServer other(searches({{kim(), Scripted::done()}}));
    const auto referring = [&](size_t places) {
        Scripted::Answer answer;
        for (size_t i = 0; i < places; i++)
            answer.push_back(Scripted::reference({other.uri() + "/ou=" + std::to_string(i) + ",o=acme"}));
        answer.push_back(Scripted::done());
        return asking(answer);
    };
    LdapAnswer answer = referring(32);
    EXPECT_EQ(answer.entries.size(), 32u);
    EXPECT_EQ(answer.missing, "");
    answer = referring(33);
    EXPECT_EQ(answer.entries.size(), 32u);
    EXPECT_EQ(answer.missing, server->uri() + ": the answer contains more than 32 referrals");
    EXPECT_EQ(answer.missingCode, ZKE_REFERRAL_BROKEN);
}

// A place is a server, a base, a scope and a filter: with another one of them it is another place.
TEST_F(LdapReferralAnswers, OnlyTheSamePlaceIsALoop) {
    const std::pair<const char *, bool> places[] = {{"", true},
                                                    {"/o=acme??sub?(objectClass=*)", true},
                                                    {"/O=Acme", true},
                                                    {"/o=acme??one", false},
                                                    {"/o=acme??base", false},
                                                    {"/o=acme??sub?(cn=kim)", false},
                                                    {"/ou=b,o=acme", false}};
    for (const auto &[place, loops] : places) {
        HostileServer self([path = std::string(place)](const std::string &uri) {
            return searches({{Scripted::done(LDAP_REFERRAL, "", {uri + path})}, {kim(), Scripted::done()}});
        });
        config.uris = {self.uri()};
        const LdapAnswer answer = LdapServers(config).search(everything);
        EXPECT_EQ(answer.missing,
                  loops ? self.uri() + ": cannot follow referral: referral loop at " + self.uri() + place : "");
        EXPECT_EQ(answer.entries.size(), loops ? 0u : 1u) << place;
    }
}

TEST(LdapPlace, TakesWhatTheUriLeavesOutFromTheSearch) {
    LdapPlace place;
    ASSERT_TRUE(ldap_place_parse("ldap://b.example", from_sales(LDAP_SCOPE_SUBTREE), false, &place));
    EXPECT_EQ(place.server, "ldap://b.example:389");
    EXPECT_EQ(place.search.base, "ou=sales,o=acme");
    EXPECT_EQ(place.search.scope, LDAP_SCOPE_SUBTREE);
    EXPECT_EQ(place.search.filter, "(cn=x)");
    ASSERT_TRUE(ldap_place_parse("ldap://b.example/", from_sales(LDAP_SCOPE_ONELEVEL), true, &place));
    EXPECT_EQ(place.search.base, "ou=sales,o=acme");
    EXPECT_EQ(place.search.scope, LDAP_SCOPE_BASE) << "what is referred to is on the level itself";
    ASSERT_TRUE(ldap_place_parse("LDAPS://b.example/", from_sales(LDAP_SCOPE_ONELEVEL), false, &place));
    EXPECT_EQ(place.server, "ldaps://b.example:636");
    EXPECT_EQ(place.search.scope, LDAP_SCOPE_ONELEVEL);
    ASSERT_TRUE(ldap_place_parse("ldap://b.example:1/??base", from_sales(LDAP_SCOPE_SUBTREE), true, &place));
    EXPECT_EQ(place.server, "ldap://b.example:1");
    EXPECT_EQ(place.search.base, "ou=sales,o=acme");
    EXPECT_EQ(place.search.scope, LDAP_SCOPE_BASE);
    EXPECT_EQ(place.search.filter, "(cn=x)");
    ASSERT_TRUE(ldap_place_parse("ldap://b.example/o=b??\?(sn=y)", from_sales(LDAP_SCOPE_SUBTREE), true, &place));
    EXPECT_EQ(place.search.base, "o=b");
    EXPECT_EQ(place.search.scope, LDAP_SCOPE_SUBTREE);
    EXPECT_EQ(place.search.filter, "(sn=y)");
    ASSERT_TRUE(ldap_place_parse("ldap://b.example/o=b?cn??", from_sales(LDAP_SCOPE_SUBTREE), true, &place));
    EXPECT_EQ(place.search.scope, LDAP_SCOPE_SUBTREE);
    EXPECT_EQ(place.search.filter, "(cn=x)");
}

TEST(LdapPlace, TakesWhatTheUriSays) {
    LdapPlace place;
    ASSERT_TRUE(
        ldap_place_parse("ldaps://[::1]:6636/ou=b%2Co=acme??one?(sn=y)", from_sales(LDAP_SCOPE_SUBTREE), true, &place));
    EXPECT_EQ(place.server, "ldaps://[::1]:6636");
    EXPECT_EQ(place.search.base, "ou=b,o=acme");
    EXPECT_EQ(place.search.scope, LDAP_SCOPE_ONELEVEL);
    EXPECT_EQ(place.search.filter, "(sn=y)");
}

TEST(LdapPlace, RefusesWhatIsNoServerOnTheNetwork) {
    LdapPlace place;
    for (const char *uri : {"ldapi://%2Frun%2Fldapi/o=acme", "http://b.example/", "ldap:///o=acme", "nonsense", "",
                            "ldap://b.example/o=acme???\?!x=1"})
        EXPECT_FALSE(ldap_place_parse(uri, from_sales(LDAP_SCOPE_SUBTREE), false, &place)) << uri;
}
