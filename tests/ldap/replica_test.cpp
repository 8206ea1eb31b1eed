// A server that takes changes, and copies of it that do not.

#include "platform/client/ldap/referrals.h"
#include "platform/client/ldap/servers.h"
#include "tests/ldap/hostile_server.h"
#include "tests/ldap/ldap_site.h"
#include "tests/ldap/replicas.h"

namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char *jdoe = "jdoe.sales.acme";
constexpr const char *jdoe_dn = "cn=jdoe,ou=sales,o=acme";

class LdapReplica : public LdapSite {
  protected:
    std::string expectedOutput() {
        onTheEmbeddedTree();
        return login().out;
    }
    std::string caFile() { return "ca_file = \"" + certificates.path("ca.pem") + "\"\n"; }
    uint32_t change(const char *from, const char *to) {
        if (here == 0) here = context();
        return ZKDSChangePassword(here, jdoe, from, to);
    }
    // Logins as jdoe that have reached the server.
    static int loginsOfJdoe(Slapd *server) {
        int count = 0;
        for (const std::string &operation : server->operations())
            if (operation.find("BIND dn=\"" + std::string(jdoe_dn) + "\"") != std::string::npos) count++;
        return count;
    }

    Certificates certificates;
};

// A provider and a copy of it.
class LdapReplicaPair : public LdapReplica {
  protected:
    LdapReplicaPair() : provider(change_provider(certificates)) {
        copy.emplace(read_only_copy(certificates, provider.port(), provider.uri()));
        await_copy_of_the_sample(*copy);
    }
    Slapd provider;
    std::optional<Slapd> copy;
};

// A provider and a copy that nothing of what has changed since has reached.
class LdapStaleReplica : public LdapReplica {
  protected:
    LdapStaleReplica() : provider(change_provider(certificates)), copy(stale_copy(certificates, provider.uri())) {}
    Slapd provider, copy;
};

} // namespace

TEST_F(LdapReplicaPair, ALoginAtTheCopyNeedsNoProvider) {
    const std::string expected = expectedOutput();
    provider.kill();
    onServers({copy->uri()});
    EXPECT_EQ(login(), (Outcome{0, expected, ""}));
}

TEST_F(LdapReplicaPair, EitherMayBeGoneWhereBothAreConfigured) {
    const std::string expected = expectedOutput();
    onServers({provider.uri(), copy->uri()});
    EXPECT_EQ(login().out, expected);
    provider.kill();
    EXPECT_EQ(login(), (Outcome{0, expected, ""}));
    Slapd::Setup setup = change_provider(certificates);
    setup.port = provider.port();
    Slapd again(setup);
    copy->kill();
    onServers({copy->uri(), again.uri()});
    EXPECT_EQ(login(), (Outcome{0, expected, ""}));
}

TEST_F(LdapReplicaPair, APasswordChangedAtTheProviderCountsAtTheCopy) {
    onServers({provider.uri()});
    ASSERT_EQ(loginWith({"--change-password", "--password-fd", "3", jdoe}, "sunflower\nstarfish-7\n"),
              (Outcome{0, "", "Your password has been changed.\n"}));
    ASSERT_TRUE(eventually([&] { return takes_password(*copy, jdoe_dn, "starfish-7"); }));
    provider.kill();
    onServers({copy->uri()});
    EXPECT_EQ(login(jdoe, "starfish-7").status, 0);
    EXPECT_EQ(login(jdoe, "sunflower").status, 2);
}

TEST_F(LdapReplicaPair, APasswordChangedAtTheCopyEndsUpAtTheProvider) {
    onServers({copy->uri(), provider.uri()});
    ASSERT_EQ(loginWith({"--change-password", "--password-fd", "3", jdoe}, "sunflower\nstarfish-7\n"),
              (Outcome{0, "", "Your password has been changed.\n"}));
    EXPECT_TRUE(takes_password(provider, jdoe_dn, "starfish-7"));
    EXPECT_FALSE(takes_password(provider, jdoe_dn, "sunflower"));
    EXPECT_TRUE(eventually([&] { return takes_password(*copy, jdoe_dn, "starfish-7"); }));
}

TEST_F(LdapReplicaPair, AWrongOldPasswordIsSentToTheCopyOnly) {
    onServers({copy->uri(), provider.uri()});
    EXPECT_EQ(change("wrong", "starfish-7"), ZKE_WRONG_PASSWORD) << lastError();
    EXPECT_EQ(loginsOfJdoe(&provider), 0);
}

// The copy refers the write, and the client's next request reads what it has answered.
TEST_F(LdapReplicaPair, TheTimeOfALoginFollowsNoReferral) {
    onServers({copy->uri(), provider.uri()},
              "referrals = true\nreferral_servers = [\"" + provider.uri() + "\"]\n" + caFile());
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    EXPECT_THAT(read(here, jdoe, "Last Login Time"), testing::SizeIs(1)) << lastError();
    ASSERT_EQ(ZKDSNoteLogin(here), ZK_OK);
    EXPECT_EQ(read(here, "admin.acme", "Full Name"), std::vector<std::string>{"Pat Ashby"}) << lastError();
    ASSERT_EQ(ZKDSLogout(here), ZK_OK);
    EXPECT_THAT(copy->log(), testing::ContainsRegex("MOD attr=qrtLastLoginTime\n(.*\n)*.*RESULT tag=103 err=10 "));
    EXPECT_EQ(loginsOfJdoe(&provider), 0);
    EXPECT_THAT(provider.log(), Not(HasSubstr(" MOD ")));
}

// What follows the change cannot be made at the copy: it knows the old password only.
TEST_F(LdapStaleReplica, ALoginAfterTheChangeIsMadeWhereItWasMade) {
    onServers({copy.uri(), provider.uri()});
    ASSERT_EQ(change("sunflower", "starfish-7"), ZK_OK) << lastError();
    ASSERT_EQ(loginHere(jdoe, "starfish-7"), ZK_OK) << lastError();
    EXPECT_EQ(read(here, "admin.acme", "Full Name"), std::vector<std::string>{"Pat Ashby"}) << lastError();
    EXPECT_TRUE(takes_password(copy, jdoe_dn, "sunflower")) << "the copy is behind";
}

TEST_F(LdapStaleReplica, WhoIsLoggedInStaysSoWhereTheChangeWasMade) {
    onServers({copy.uri(), provider.uri()});
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    ASSERT_EQ(ZKDSChangePassword(here, nullptr, "sunflower", "starfish-7"), ZK_OK) << lastError();
    copy.kill();
    EXPECT_EQ(read(here, "admin.acme", "Full Name"), std::vector<std::string>{"Pat Ashby"}) << lastError();
    ASSERT_EQ(ZKDSChangePassword(here, nullptr, "starfish-7", "starfish-8"), ZK_OK) << lastError();
    EXPECT_TRUE(takes_password(provider, jdoe_dn, "starfish-8"));
}

TEST_F(LdapStaleReplica, AServerThatIsNotTheTreesOwnGetsNoPassword) {
    onServers({copy.uri()}, "referrals = true\nreferral_servers = [\"" + provider.uri() + "\"]\n" + caFile());
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    EXPECT_EQ(ZKDSChangePassword(here, nullptr, "sunflower", "starfish-7"), ZKE_NO_ACCESS);
    EXPECT_EQ(lastError(), "the password can only be changed at " + provider.uri());
    const Outcome outcome = loginWith({"--change-password", "--password-fd", "3", jdoe}, "sunflower\nstarfish-7\n");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("cannot change the password of jdoe.sales.acme: "));
    EXPECT_THAT(outcome.err, HasSubstr("the password can only be changed at " + provider.uri()));
    EXPECT_EQ(provider.operations(), std::vector<std::string>()) << "nobody has asked it anything";
}

// As it is configured: the referral would have it asked in the clear, which the tree allows nobody.
TEST_F(LdapStaleReplica, NoPasswordGoesToTheProviderInTheClear) {
    onStrictServers({copy.uri("ldaps"), provider.uri()}, caFile());
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    EXPECT_EQ(ZKDSChangePassword(here, nullptr, "sunflower", "starfish-7"), ZKE_TLS_REQUIRED);
    EXPECT_EQ(lastError(), "the change was referred to another server: " + provider.uri() +
                               ": the password was not sent: the connection is not encrypted (use ldaps or start_tls)");
    EXPECT_EQ(loginsOfJdoe(&provider), 0);
}

TEST_F(LdapStaleReplica, TheConnectionToTheProviderIsSecuredAsTheTreeWantsIt) {
    onStrictServers({copy.uri(), provider.uri()}, "start_tls = true\n" + caFile());
    ASSERT_EQ(change("sunflower", "starfish-7"), ZK_OK) << lastError();
    EXPECT_TRUE(takes_password(provider, jdoe_dn, "starfish-7"));
    EXPECT_THAT(provider.log(), testing::ContainsRegex("STARTTLS"));
}

TEST_F(LdapStaleReplica, AProviderWithAnotherCertificateGetsNoPassword) {
    Certificates others;
    Slapd impostor(change_provider(others));
    Slapd referring(stale_copy(certificates, impostor.uri("ldaps")));
    onStrictServers({referring.uri("ldaps"), impostor.uri("ldaps")}, caFile());
    EXPECT_EQ(change("sunflower", "starfish-7"), ZKE_CERTIFICATE_REFUSED);
    EXPECT_THAT(lastError(), HasSubstr("the change was referred to another server: " + impostor.uri("ldaps") + ": "));
    EXPECT_EQ(loginsOfJdoe(&impostor), 0);
}

TEST_F(LdapStaleReplica, AProviderThatIsGoneIsNamed) {
    onServers({copy.uri(), provider.uri()});
    provider.kill();
    EXPECT_EQ(change("sunflower", "starfish-7"), ZKE_DIRECTORY_UNREACHABLE);
    const std::string said =
        "the change was referred to another server: " + provider.uri() + ": cannot connect: Connection refused";
    EXPECT_EQ(lastError(), said);
    EXPECT_EQ(change("sunflower", "starfish-7"), ZKE_DIRECTORY_UNREACHABLE);
    EXPECT_EQ(lastError(), said);
    EXPECT_EQ(loginHere(), ZK_OK) << "the old password still counts";
}

TEST_F(LdapStaleReplica, APasswordThatOnlyTheCopyStillTakesIsWrongAtTheProvider) {
    onServers({provider.uri()});
    ASSERT_EQ(change("sunflower", "starfish-7"), ZK_OK) << lastError();
    onServers({copy.uri(), provider.uri()});
    here = 0;
    EXPECT_EQ(change("sunflower", "starfish-8"), ZKE_WRONG_PASSWORD);
    EXPECT_EQ(lastError(), "the old password is wrong");
    EXPECT_TRUE(takes_password(provider, jdoe_dn, "starfish-7"));
    EXPECT_EQ(loginsOfJdoe(&provider), 3) << "one for each change, and the test's";
}

TEST_F(LdapStaleReplica, ACopyOfACopyLeadsToTheProviderToo) {
    Slapd second(stale_copy(certificates, copy.uri()));
    onServers({second.uri(), copy.uri(), provider.uri()});
    ASSERT_EQ(change("sunflower", "starfish-7"), ZK_OK) << lastError();
    EXPECT_TRUE(takes_password(provider, jdoe_dn, "starfish-7"));
}

TEST_F(LdapStaleReplica, CopiesThatReferToEachOtherEnd) {
    const int port = free_port();
    Slapd second(stale_copy(certificates, "ldap://127.0.0.1:" + std::to_string(port)));
    Slapd::Setup setup = stale_copy(certificates, second.uri());
    setup.port = port;
    Slapd third(setup);
    onServers({second.uri(), third.uri()});
    EXPECT_EQ(change("sunflower", "starfish-7"), ZKE_REFERRAL_BROKEN);
    EXPECT_EQ(lastError(), "the change was referred to another server: referral loop at " + second.uri());
}

TEST_F(LdapStaleReplica, AProviderThatIsNamedTwiceIsAskedOnce) {
    const std::string gone = "ldap://127.0.0.1:" + std::to_string(free_port());
    Slapd::Setup setup = stale_copy(certificates, gone);
    setup.database += "updateref " + gone + "/\n";
    Slapd referring(setup);
    onServers({referring.uri(), gone});
    EXPECT_EQ(change("sunflower", "starfish-7"), ZKE_DIRECTORY_UNREACHABLE);
    EXPECT_EQ(lastError(),
              "the change was referred to another server: " + gone + ": cannot connect: Connection refused");
}

TEST_F(LdapStaleReplica, TheNextOfSeveralProvidersIsUsed) {
    const std::string gone = "ldap://127.0.0.1:" + std::to_string(free_port());
    Slapd::Setup setup = stale_copy(certificates, gone);
    setup.database += "updateref " + provider.uri() + "\n";
    Slapd referring(setup);
    onServers({referring.uri(), gone, provider.uri()});
    ASSERT_EQ(change("sunflower", "starfish-7"), ZK_OK) << lastError();
    EXPECT_TRUE(takes_password(provider, jdoe_dn, "starfish-7"));
}

TEST(LdapServerMeant, IsByHostAndPortOrByHostWhereThePortsAreTheUsualOnes) {
    const std::vector<std::string> own = {"ldapi://%2Frun%2Fldapi", "ldaps://dc1.example", "ldap://dc2.example:3389",
                                          "ldap://dc1.example",     "ldaps://dc3.example", "ldaps://[2001:db8::1]"};
    const struct {
        const char *referral;
        std::optional<size_t> meant;
    } rows[] = {{"ldap://DC1.example/dc=example", 3},
                {"ldaps://dc1.example", 1},
                {"ldap://dc3.example:389/dc=example??sub", 4},
                {"ldap://[2001:db8::1]", 5},
                {"ldap://dc2.example:3389", 2},
                {"ldap://dc2.example", std::nullopt},
                {"ldap://dc3.example:3389", std::nullopt},
                {"ldap://dc3.example.attacker.example", std::nullopt},
                {"ldap://dc1.example@attacker.example", std::nullopt},
                {"ldap:///dc=example", std::nullopt},
                {"ldapi://%2Frun%2Fldapi", std::nullopt},
                {"nonsense", std::nullopt},
                {"", std::nullopt}};
    for (const auto &row : rows) EXPECT_EQ(ldap_server_meant(own, row.referral), row.meant) << row.referral;
}

namespace {

// A domain controller, as far as a change of a password goes.
Scripted domain_controller(const std::string &answer) {
    const std::string root = Scripted::entry("", {{"supportedCapabilities", "1.2.840.113556.1.4.800"}});
    return {{{Scripted::bound()}}, {{root, Scripted::done()}}, {{Scripted::unknown()}}, {{answer}}};
}

Scripted read_only_controller(const std::string &writable) {
    return domain_controller(Scripted::modified(
        LDAP_REFERRAL, "0000202B: RefErr: DSID-0310082F, data 0, 1 access points\n\tref 1: 'dc1.ad.example.test'\n",
        {writable + "/CN=Anna,CN=Users,DC=ad,DC=example,DC=test"}));
}

LdapAnswer change_of_anna(LdapServers *servers) {
    const std::string account = "anna@ad.example.test";
    return servers->changePassword("cn=anna,cn=users,dc=ad,dc=example,dc=test", {account, "sunflower"},
                                   {account, "starfish-7"}, {});
}

} // namespace

TEST(LdapReadOnlyController, AChangeIsMadeAtTheWritableOneThatTheTreeNames) {
    HostileServer writable(domain_controller(Scripted::modified()));
    HostileServer readOnly(read_only_controller(writable.uri()));
    ConfigLdap config;
    config.cleartextLoopback = true;
    config.uris = {readOnly.uri(), writable.uri()};
    LdapServers servers(config);
    EXPECT_EQ(change_of_anna(&servers).result, LDAP_SUCCESS);
    EXPECT_EQ(readOnly.modifies(), 1);
    EXPECT_EQ(writable.logins(), 1);
    EXPECT_EQ(writable.modifies(), 1);
}

TEST(LdapReadOnlyController, AnotherControllerGetsNothing) {
    HostileServer other(domain_controller(Scripted::modified()));
    HostileServer readOnly(read_only_controller(other.uri()));
    ConfigLdap config;
    config.cleartextLoopback = true;
    config.uris = {readOnly.uri()};
    LdapServers servers(config);
    EXPECT_THROW(change_of_anna(&servers), CodedError);
    EXPECT_EQ(other.connections(), 0);
}
