// What a server's password policy says reaches the user in words.

#include "tests/ldap/hostile_server.h"
#include "tests/ldap/policy_site.h"

namespace {

class LdapPasswordPolicy : public PolicySite {
  protected:
    LdapPasswordPolicy() : server(withPolicy()) { onStock(server); }
    static std::string refusal(const std::string &user, const std::string &why) {
        return "qrtlogin: cannot log in as uid=" + user + ".staff to tree ACME: " + why + "\n";
    }
    void lockFine() {
        for (int i = 0; i < 3; i++) EXPECT_EQ(loginHere("uid=fine.staff", "wrong"), ZKE_WRONG_PASSWORD);
        EXPECT_EQ(loginHere("uid=fine.staff"), ZKE_ACCOUNT_LOCKED);
    }
    Slapd server;
};

} // namespace

TEST_F(LdapPasswordPolicy, SaysWhyThereIsNoLogin) {
    const struct {
        std::string user, password, why;
    } cases[] = {
        {"fine", "wrong", "wrong password"},
        {"expired", "sunflower", "the password of expired.staff has expired: ask the administrator for a new one"},
        {"expired", "wrong", "wrong password"},
        {"locked", "sunflower", "UID=locked.OU=staff is locked"},
        {"locked", "wrong", "UID=locked.OU=staff is locked"},
        {"reset", "sunflower", "the password of UID=reset.OU=staff must be changed"},
        {"reset", "wrong", "wrong password"},
    };
    for (const auto &one : cases)
        EXPECT_EQ(login("uid=" + one.user + ".staff", one.password), (Outcome{2, "", refusal(one.user, one.why)}));
}

TEST_F(LdapPasswordPolicy, GivesEachReasonACodeOfItsOwn) {
    EXPECT_EQ(loginHere("uid=expired.staff"), ZKE_PASSWORD_EXPIRED);
    EXPECT_EQ(loginHere("uid=locked.staff"), ZKE_ACCOUNT_LOCKED);
    EXPECT_EQ(loginHere("uid=reset.staff"), ZKE_PASSWORD_MUST_CHANGE);
    EXPECT_EQ(ZKDSCanDSAuthenticate(here), 0u) << "only the password can be changed";
    EXPECT_EQ(loginHere("uid=fine.staff"), ZK_OK);
}

TEST_F(LdapPasswordPolicy, LocksWhoMistypesTooOftenAndSaysSo) {
    EXPECT_EQ(loginHere("uid=lone.staff", "wrong"), ZKE_WRONG_PASSWORD);
    EXPECT_EQ(loginHere("uid=lone.staff"), ZKE_ACCOUNT_LOCKED);
    EXPECT_EQ(lastError(), "UID=lone.OU=staff is locked");
}

namespace {

// An hour after the last failed login; the minute may end meanwhile.
testing::Matcher<std::string> in_an_hour(const std::string &who, time_t before) {
    const auto sentence = [&who](time_t from) {
        const time_t end = from + 3600;
        tm parts = {};
        char text[64] = "";
        strftime(text, sizeof text, "%Y-%m-%d %H:%M", localtime_r(&end, &parts));
        return "UID=" + who + ".OU=staff is locked until " + text;
    };
    return testing::AnyOf(sentence(before), sentence(time(nullptr)));
}

} // namespace

TEST_F(LdapPasswordPolicy, SaysUntilWhenTheUsersOwnPolicyLocks) {
    const time_t before = time(nullptr);
    EXPECT_EQ(loginHere("uid=hour.staff", "wrong"), ZKE_WRONG_PASSWORD);
    EXPECT_EQ(loginHere("uid=hour.staff"), ZKE_ACCOUNT_LOCKED);
    EXPECT_THAT(lastError(), in_an_hour("hour", before));
}

TEST_F(LdapPasswordPolicy, SaysUntilWhenTheOnlyPolicyOfTheTreeLocks) {
    Slapd::Setup setup = withPolicy();
    setup.access = "access to dn.regex=cn=(graceful|strict|lone|hour),ou=policies by * none\n" + setup.access;
    const Slapd withOne(setup);
    onStock(withOne);
    const time_t before = time(nullptr);
    lockFine();
    EXPECT_THAT(lastError(), in_an_hour("fine", before));
}

// Which policy is the default one only the server's configuration says.
TEST_F(LdapPasswordPolicy, OfSeveralPoliciesItMayBeAny) {
    lockFine();
    EXPECT_EQ(lastError(), "UID=fine.OU=staff is locked");
}

TEST_F(LdapPasswordPolicy, TellsAProgramHowLongThePasswordLasts) {
    ASSERT_EQ(loginHere("uid=expiring.staff"), ZK_OK) << lastError();
    ZKDSPasswordInfo info = {};
    ASSERT_EQ(ZKDSGetPasswordInfo(here, &info), ZK_OK);
    EXPECT_GT(info.expiresIn, 0);
    EXPECT_LE(info.expiresIn, 43200);
    EXPECT_EQ(info.graceLogins, -1);
    EXPECT_EQ(info.changeable, 1);
    ASSERT_EQ(ZKDSLogout(here), ZK_OK);
    EXPECT_EQ(ZKDSGetPasswordInfo(here, &info), ZKE_NOT_LOGGED_IN);
    ASSERT_EQ(loginHere("uid=grace.staff"), ZK_OK) << lastError();
    ASSERT_EQ(ZKDSGetPasswordInfo(here, &info), ZK_OK);
    EXPECT_EQ(info.expiresIn, 0);
    EXPECT_EQ(info.graceLogins, 1);
    ASSERT_EQ(ZKDSLogout(here), ZK_OK);
    ASSERT_EQ(loginHere("uid=fine.staff"), ZK_OK) << lastError();
    ASSERT_EQ(ZKDSGetPasswordInfo(here, &info), ZK_OK);
    EXPECT_EQ(info.expiresIn, -1);
    EXPECT_EQ(info.graceLogins, -1);
}

TEST_F(LdapPasswordPolicy, ScriptsReadWhenThePasswordExpires) {
    ASSERT_EQ(loginHere("uid=expiring.staff"), ZK_OK) << lastError();
    const std::vector<std::string> found = read(here, "uid=expiring.staff", "Password Expiration Time");
    ASSERT_EQ(found.size(), 1u);
    EXPECT_GT(std::stol(found[0]), time(nullptr));
    EXPECT_LE(std::stol(found[0]), time(nullptr) + 43200);
    EXPECT_TRUE(read(here, "uid=fine.staff", "Password Expiration Time").empty());
}

TEST_F(LdapPasswordPolicy, WarnsFromTheConfiguredDayOn) {
    onStock(server, "warn_days = 0.25\n");
    ASSERT_EQ(loginHere("uid=expiring.staff"), ZK_OK) << lastError();
    ZKDSPasswordInfo info = {};
    ASSERT_EQ(ZKDSGetPasswordInfo(here, &info), ZK_OK);
    EXPECT_EQ(info.expiresIn, -1);
}

namespace {

// An answer to a login that a server gives the second time.
class LdapStateOfAccount : public LdapSite, public testing::WithParamInterface<std::pair<int, std::string>> {};

} // namespace

// The copy would let in whom the server does not.
TEST_P(LdapStateOfAccount, EndsTheOfflineCopyOfTheLogin) {
    const std::string refused =
        Scripted::bound(GetParam().first) + Scripted::controls({{"1.3.6.1.4.1.42.2.27.8.5.1", GetParam().second}});
    const Scripted::Answer entry = {
        Scripted::entry("cn=jdoe,ou=sales,o=acme", {{"objectClass", "person"}, {"cn", "jdoe"}, {"sn", "Doe"}}),
        Scripted::done()};
    defaultServer.clear();
    auto server =
        std::make_unique<HostileServer>(Scripted{{{Scripted::bound()}, {refused}}, {entry}, {{Scripted::unknown()}}});
    onServers({server->uri()}, "base = \"o=acme\"\noffline = true\n");
    ASSERT_EQ(loginHere("jdoe.sales"), ZK_OK) << lastError();
    ASSERT_EQ(ZKDSLogout(here), ZK_OK);
    const uint32_t code = loginHere("jdoe.sales");
    EXPECT_THAT(code, testing::AnyOf(ZKE_PASSWORD_EXPIRED, ZKE_ACCOUNT_LOCKED, ZKE_PASSWORD_MUST_CHANGE));
    EXPECT_EQ(ZKDSCanDSAuthenticate(here), 0u);
    server.reset();
    EXPECT_EQ(loginHere("jdoe.sales"), ZKE_DIRECTORY_UNREACHABLE) << lastError();
}

INSTANTIATE_TEST_SUITE_P(States, LdapStateOfAccount,
                         testing::Values(std::pair(49, std::string("\x30\x03\x81\x01\x00", 5)),
                                         std::pair(49, std::string("\x30\x03\x81\x01\x01")),
                                         std::pair(49, std::string("\x30\x03\x81\x01\x02")),
                                         std::pair(0, std::string("\x30\x03\x81\x01\x02"))));
