// Servers that say that another one has what is asked for.
#include <gmock/gmock.h>

#include "platform/client/ldap_referrals.h"
#include "platform/client/ldap_servers.h"
#include "tests/ldap/certificates.h"
#include "tests/ldap/hostile_server.h"
#include "tests/ldap/ldap_site.h"

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
        setup.global = certificates.serverLines("IP:127.0.0.1", "20200101000000Z", "20490101000000Z");
        return setup;
    }
    std::string caFile() { return "ca_file = \"" + certificates.path("ca.pem") + "\"\n"; }
    // Referrals are followed; the user is told to the named servers.
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
                ::testing::IsSupersetOf({std::string("friends.branch.acme"), std::string("managers.acme")}));
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
TEST_F(LdapReferral, NobodyIsToldToAServerThatTheConfigurationDoesNotName) {
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
    EXPECT_THAT(lastError(), ::testing::AllOf(::testing::StartsWith(server.uri() + ": cannot follow referral: "),
                                              ::testing::HasSubstr("it is not signed by an authority in the CA file")));
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
    EXPECT_THAT(lastError(), ::testing::AllOf(::testing::StartsWith(server.uri() + ": cannot follow referral: "),
                                              ::testing::HasSubstr("referral loop at ")));
    EXPECT_EQ(base_class(here, "admin.acme"), "User") << lastError();
}

TEST_F(LdapReferral, AChainThatGoesOnAndOnEnds) {
    HostileServer endless(Hostility::RefersOn);
    Slapd server(referring(endless.uri()));
    onServers({server.uri()}, following());
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    EXPECT_EQ(base_class(here, "kim.branch.acme"), "");
    EXPECT_EQ(lastCode, ZKE_REFERRAL_BROKEN);
    EXPECT_THAT(lastError(), ::testing::HasSubstr("exceeds the limit of 8 referrals"));
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
    EXPECT_THAT(lastError(), ::testing::EndsWith("cannot connect: Connection refused"));
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
