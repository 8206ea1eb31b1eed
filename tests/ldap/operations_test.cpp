// What a login asks its server for: the first one from a home, and those after it, which know the user's name and, for
// half a minute, the site.
#include <algorithm>
#include <ctime>
#include <filesystem>
#include <regex>

#include "tests/ldap/hostile_server.h"
#include "tests/ldap/ldap_site.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using Operations = std::vector<std::string>;

const char desk[] = R"(
dn: ou=desk,o=acme
objectClass: organizationalUnit
objectClass: qrtContainer
ou: desk
qrtLoginScript:: V1JJVEUgIkhlbGxvLCAlRlVMTF9OQU1FIgpJRiBNRU1CRVIgT0YgIi5jcmV3LmFjbWUiIFRIRU4gV1JJVEUgImluIHRoZSBjcmV3IgpJRiBNRU1CRVIgT0YgIi5tYW5hZ2Vycy5hY21lIiBUSEVOIFdSSVRFICJhIG1hbmFnZXIiCg==

dn: cn=ann,ou=desk,o=acme
objectClass: inetOrgPerson
objectClass: qrtUser
cn: ann
sn: Lark
displayName: Ann Lark
userPassword: poppy
qrtProfile: cn=fieldstaff,o=acme

dn: cn=bob,ou=desk,o=acme
objectClass: inetOrgPerson
objectClass: qrtUser
cn: bob
sn: Reed
displayName: Bob Reed
userPassword: tulip

dn: cn=crew,o=acme
objectClass: groupOfNames
cn: crew
member: cn=ann,ou=desk,o=acme
)";

class LdapOperations : public LdapSite {
  protected:
    LdapOperations() { keptHome = home.path(); }

    static Slapd::Setup withDesk() {
        Slapd::Setup setup = sample();
        setup.ldif += desk;
        return setup;
    }
    Outcome annsLogin() { return login("ann.desk.acme", "poppy"); }
    std::vector<std::string> copies() {
        std::vector<std::string> files;
        for (const auto &file : std::filesystem::directory_iterator(home.path(".cache/brasca-zk")))
            files.push_back(file.path());
        return files;
    }
    void change(const char *what, const std::string &to) {
        for (const std::string &file : copies())
            home.write(std::filesystem::relative(file, home.path()),
                       std::regex_replace(file_text(file), std::regex(what), to));
    }
    void setAge(long seconds) {
        change("^(# zkclient copy 1) [0-9]+", "$1 " + std::to_string(time(nullptr) - seconds));
    }
    void onServer(const Slapd &server, const std::string &options = "") {
        onServers({server.uri()}, "search_base = \"o=acme\"\n" + options);
    }
    // All but the ends of connections, from the end of the first login.
    static Operations later(Slapd &server) {
        const Operations all = server.operations();
        Operations rest(std::find(all.begin(), all.end(), "UNBIND"), all.end());
        rest.erase(std::remove(rest.begin(), rest.end(), "UNBIND"), rest.end());
        return rest;
    }

    const testing::Matcher<std::string> forName = HasSubstr("(entryDN=uid=ann,ou=desk,o=acme)");
    const testing::Matcher<std::string> bind = StartsWith("BIND dn=\"cn=ann,ou=desk,o=acme\"");
    const testing::Matcher<std::string> whoAmI = StartsWith("EXT oid=1.3.6.1.4.1.4203.1.11.3");
    const testing::Matcher<std::string> session = HasSubstr("(entryDN=cn=ann,ou=desk,o=acme)");
    const testing::Matcher<std::string> site = HasSubstr("(objectClass=qrtVolume)");
    const testing::Matcher<std::string> groups = HasSubstr("(member=cn=ann,ou=desk,o=acme)");
    const testing::Matcher<std::string> nested = HasSubstr("(member=cn=crew,o=acme)");
    const testing::Matcher<std::string> profile = HasSubstr("(entryDN=cn=fieldstaff,o=acme)");
};

// A copy that serves a login for less than it could.
struct OldCopy {
    const char *options;
    long seconds;
};

class LdapOperationsOfOld : public LdapOperations, public testing::WithParamInterface<OldCopy> {};

} // namespace

TEST_F(LdapOperations, TheFirstLoginLooksTheNameUpAndReadsTheSite) {
    Slapd server(withDesk());
    onServer(server);
    EXPECT_THAT(annsLogin().out, HasSubstr("Hello, Ann Lark\nin the crew\n"));
    EXPECT_THAT(server.operations(),
                ElementsAre(forName, bind, whoAmI, AllOf(session, site, profile), groups, nested, "UNBIND"));
}

TEST_F(LdapOperations, ALoginIsABindAndAtMostThreeSearchesWithAFreshCopy) {
    Slapd server(withDesk());
    onServer(server);
    const Outcome first = annsLogin();
    EXPECT_EQ(annsLogin(), first);
    const Operations asked = later(server);
    EXPECT_THAT(asked, ElementsAre(bind, whoAmI, AllOf(session, Not(site), profile), groups, nested));
}

TEST_P(LdapOperationsOfOld, TheSiteIsReadWithTheUser) {
    Slapd server(withDesk());
    if (GetParam().seconds == 0 && *GetParam().options == '\0') defaultServer = "";
    onServer(server, GetParam().options);
    const Outcome first = annsLogin();
    setAge(GetParam().seconds);
    EXPECT_EQ(annsLogin(), first);
    EXPECT_THAT(later(server), testing::Contains(AllOf(session, site, profile)));
}

INSTANTIATE_TEST_SUITE_P(Copies, LdapOperationsOfOld,
                         testing::Values(OldCopy{"", 31}, OldCopy{"", 86400}, OldCopy{"", -30},
                                         OldCopy{"offline = true\n", 0}, OldCopy{"", 0}));

TEST_F(LdapOperations, AnothersCopyIsNotTaken) {
    Slapd server(withDesk());
    onServer(server);
    ASSERT_EQ(login("bob.desk.acme", "tulip").status, 0);
    ASSERT_EQ(annsLogin().status, 0);
    EXPECT_THAT(later(server), ElementsAre(forName, bind, whoAmI, AllOf(session, site), groups, nested));
}

TEST_F(LdapOperations, WithReferralsTheNameIsLookedUp) {
    Certificates certificates;
    Slapd::Setup setup = withDesk();
    setup.schemes = "ldaps";
    setup.global = certificates.serverLines();
    Slapd server(setup);
    onStrictServers({server.uri("ldaps")},
                    "search_base = \"o=acme\"\nreferrals = true\nca_file = \"" + certificates.path("ca.pem") + "\"\n");
    ASSERT_EQ(annsLogin().status, 0);
    ASSERT_EQ(annsLogin().status, 0);
    EXPECT_THAT(later(server).at(0), forName);
}

TEST_F(LdapOperations, AWrongPasswordIsSentOnce) {
    Slapd server(withDesk());
    onServer(server);
    ASSERT_EQ(annsLogin().status, 0);
    const Outcome refused = login("ann.desk.acme", "daisy");
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.err, HasSubstr("wrong password"));
    EXPECT_EQ(loginHere("ann.desk.acme", ""), ZKE_WRONG_PASSWORD);
    EXPECT_EQ(lastError(), "wrong password for CN=ann.OU=desk.O=acme");
    ZKDSFreeContext(here);
    EXPECT_THAT(later(server), ElementsAre(bind, forName, forName));
}

// The same tree, in which ann is named by uid.
static Slapd::Setup with_ann_by_uid(Slapd::Setup setup) {
    setup.ldif = std::regex_replace(setup.ldif, std::regex("cn=ann,"), "uid=ann,");
    setup.ldif = std::regex_replace(setup.ldif, std::regex("\ncn: ann\n"), "\ncn: ann\nuid: ann\n");
    return setup;
}

TEST_F(LdapOperations, AUserWhoIsAnotherObjectByNowIsFound) {
    Outcome first;
    Slapd::Setup setup = with_ann_by_uid(withDesk());
    {
        Slapd server(withDesk());
        setup.port = server.port();
        onServer(server);
        first = annsLogin();
    }
    Slapd server(setup);
    EXPECT_EQ(annsLogin(), first);
    const auto asUid = [](const char *start) { return AllOf(StartsWith(start), HasSubstr("uid=ann,ou=desk,o=acme")); };
    Operations asked = server.operations();
    asked.erase(std::remove(asked.begin(), asked.end(), "UNBIND"), asked.end());
    EXPECT_THAT(asked,
                ElementsAre(bind, forName, asUid("BIND"), whoAmI, AllOf(asUid("SRCH"), site), asUid("SRCH"), nested));
}

// Whoever has logged in before.
TEST_F(LdapOperations, ANameMeansTheSameOfTwoObjectsEachTime) {
    Slapd::Setup setup = withDesk();
    setup.ldif +=
        "\ndn: uid=ann,ou=desk,o=acme\nobjectClass: inetOrgPerson\nobjectClass: qrtUser\ncn: Ann\nsn: Wren\n"
        "uid: ann\nuserPassword: lilac\n";
    Slapd server(setup);
    onServer(server);
    ASSERT_EQ(login("uid=ann.desk.acme", "lilac").status, 0);
    EXPECT_EQ(login("ann.desk.acme", "lilac").status, 2);
    EXPECT_EQ(annsLogin().status, 0);
    for (const std::string &asked : later(server))
        EXPECT_THAT(asked, Not(StartsWith("BIND dn=\"uid=ann"))) << "whose password nobody has typed";
}

// Whose copy goes when the server refuses a user is decided by whom the server means.
TEST_F(LdapOperations, TheNameIsLookedUpWhereThereIsACopyForWorkOffline) {
    Slapd server(withDesk());
    onServer(server, "offline = true\n");
    ASSERT_EQ(annsLogin().status, 0);
    ASSERT_EQ(annsLogin().status, 0);
    EXPECT_THAT(later(server).at(0), forName);
}

TEST_F(LdapOperations, AUserWhoIsGoneIsNobody) {
    std::string uri;
    int port = 0;
    {
        Slapd server(withDesk());
        port = server.port();
        onServer(server, "offline = true\n");
        ASSERT_EQ(annsLogin().status, 0);
    }
    EXPECT_EQ(copies().size(), 3u); // of the login, of whom its name means, and of the site
    {
        Slapd::Setup setup = sample();
        setup.port = port;
        Slapd server(setup);
        EXPECT_EQ(annsLogin().status, 5);
        EXPECT_EQ(copies().size(), 2u) << "nor without a server";
    }
    EXPECT_EQ(annsLogin().status, 3);
}

TEST_F(LdapOperations, TheOfflineCopyServesWhereTheNameNeedsNoServer) {
    Outcome first;
    {
        Slapd server(withDesk());
        onServer(server, "offline = true\n");
        first = annsLogin();
    }
    const Outcome offline = annsLogin();
    EXPECT_EQ(offline.out, first.out);
    EXPECT_THAT(offline.err, HasSubstr("using the copy made"));
    EXPECT_EQ(login("ann.desk.acme", "daisy").status, 2);
}

TEST_F(LdapOperations, AServerThatIsGoneIsReportedAsSuch) {
    {
        Slapd server(withDesk());
        onServer(server);
        ASSERT_EQ(annsLogin().status, 0);
    }
    const Outcome outcome = annsLogin();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, HasSubstr("cannot connect: Connection refused"));
    for (const char *password : {"poppy", ""})
        EXPECT_EQ(loginHere("ann.desk.acme", password), ZKE_DIRECTORY_UNREACHABLE) << password;
}

TEST_F(LdapOperations, AProfileThatHasChangedIsReadToo) {
    Slapd server(withDesk());
    onServer(server);
    const Outcome first = annsLogin();
    change("\n# profile .*\n", "\n# profile cn=news,o=acme\n");
    EXPECT_EQ(annsLogin(), first);
}

// The programs that a script runs ask as nobody.
TEST_F(LdapOperations, TheFreshCopyServesProgramsWhereOnlyUsersMayRead) {
    Slapd server(forUsersOnly());
    onServers({server.uri()});
    const Outcome first = login();
    const Outcome second = login();
    EXPECT_EQ(second.out, first.out);
    EXPECT_EQ(second.err, "");
}

TEST_F(LdapOperations, ARefusalCountsWhereNobodyAnswersAnyMore) {
    constexpr int invalid_credentials = 49, busy = 51;
    const Scripted::Answer jane = {
        Scripted::entry("cn=jdoe,ou=sales,o=acme", {{"objectClass", "person"}, {"cn", "jdoe"}, {"sn", "Doe"}}),
        Scripted::entry("cn=SRV1,o=acme", {{"objectClass", "qrtServer"}, {"cn", "SRV1"}}), Scripted::done()};
    HostileServer server(Scripted{{{Scripted::bound()}, {Scripted::bound(invalid_credentials)}},
                                  {jane, jane, jane, jane, {Scripted::done(busy)}},
                                  {{Scripted::unknown()}}});
    onServers({server.uri()}, "base = \"o=acme\"\n");
    ASSERT_EQ(loginHere("jdoe.sales", "sunflower"), ZK_OK) << lastError();
    ASSERT_EQ(ZKDSLogout(here), ZK_OK);
    const int before = server.searches();
    EXPECT_EQ(loginHere("jdoe.sales", "sunflower"), ZKE_WRONG_PASSWORD);
    EXPECT_EQ(server.logins(), 2);
    EXPECT_EQ(server.searches(), before + 1);
}
