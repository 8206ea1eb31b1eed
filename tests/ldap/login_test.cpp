// The sample login over a real server: the same output as over the LDIF file, and few requests.
#include "tests/ldap/ldap_site.h"

#include <unistd.h>
#include <algorithm>
#include <set>

namespace {

struct Person {
    const char *user, *password;
    int status;
};

class LdapLogin : public LdapSite {
  protected:
    static Slapd::Setup withOddPeople();
    // A directory that knows neither this client's schema nor its users.
    static Slapd::Setup plain();
};

// A user whose name needs every escape that DNs and filters have, in a container of such a kind.
const char odd_people[] = R"(
dn: ou=R\2CD \28east\29,o=acme
objectClass: organizationalUnit
ou: R,D (east)

dn: cn=x*y \5C\2Bz,ou=R\2CD \28east\29,o=acme
objectClass: inetOrgPerson
cn: x*y \+z
sn: Odd
displayName: Odd One
userPassword: odd

dn: uid=asmith,ou=R\2CD \28east\29,o=acme
objectClass: inetOrgPerson
uid: asmith
cn: Ann Smith
sn: Smith
displayName: Ann Smith
userPassword: ann
)";

// A directory of others: none of this client's classes and attributes, and groups kept with the user as well.
const char plain_tree[] = R"(
dn: o=acme
objectClass: organization
o: acme

dn: ou=people,o=acme
objectClass: organizationalUnit
ou: people

dn: uid=kim,ou=people,o=acme
objectClass: inetOrgPerson
uid: kim
cn: Kim Park
sn: Park
displayName: Kim Park
telephoneNumber: +1 555 0199
userPassword: daisy
memberOf: cn=kept-with-the-user,o=acme

dn: cn=friends,o=acme
objectClass: groupOfNames
cn: friends
member: uid=kim,ou=people,o=acme
)";

Slapd::Setup LdapLogin::withOddPeople() {
    Slapd::Setup setup = sample();
    setup.ldif += odd_people;
    return setup;
}

Slapd::Setup LdapLogin::plain() {
    Slapd::Setup setup;
    setup.ldif = plain_tree;
    setup.ownSchema = false;
    setup.global = "moduleload memberof\n";
    return setup;
}

} // namespace

TEST_F(LdapLogin, GivesTheOutputOfTheEmbeddedTreeByteForByte) {
    Slapd server(sample());
    const Person people[] = {
        {"jdoe.sales.acme", "sunflower", 0},
        {"jdoe.acme", "sunflower", 0}, // through an alias
        {".cn=jdoe.ou=sales.o=acme", "sunflower", 0},
        {"mlee.emea.sales.acme", "moonlight", 0},
        {"admin.acme", "starfish", 0},
        {"rfox.it.acme", "seaweed", 2},      // locked
        {"jdoe.sales.acme", "moonlight", 2}, // wrong password
        {"jdoe.sales.acme", "", 2},
        {"nobody.sales.acme", "sunflower", 5},
        {"jdoe.nowhere.acme", "sunflower", 5},
        {"jdoe.sales.other", "sunflower", 5},
    };
    for (const Person &person : people) {
        SCOPED_TRACE(person.user);
        onTheEmbeddedTree();
        Outcome embedded = login(person.user, person.password);
        onServers({server.uri()});
        Outcome ldap = login(person.user, person.password);
        EXPECT_EQ(ldap.out, embedded.out);
        EXPECT_EQ(ldap.err, embedded.err);
        EXPECT_EQ(embedded.status, person.status);
        EXPECT_EQ(ldap.status, person.status);
    }
}

TEST_F(LdapLogin, ReportsThatTheServerDoesNotHaveTheBase) {
    for (const char *access : {"access to * by * read\n", "access to * by anonymous auth by * read\n"}) {
        Slapd::Setup setup = sample();
        setup.access = access;
        Slapd server(setup);
        const struct {
            const char *line, *user;
            std::string held;
        } cases[] = {
            {"base = \"o=amce\"\n", "jdoe.sales", "base o=amce"},
            {"search_base = \"o=amce\"\n", "jdoe.sales.acme", "search_base o=amce"},
            {"search_base = \"o=amce\"\n", "jdoe.sales.amce", "search_base o=amce"},
            {"base = \"dc=example\"\n", "jdoe.sales.acme", "base dc=example"},
            {"base = \"o=acme\"\nsearch_base = \"ou=none,o=acme\"\n", "jdoe.sales", ""},
            {"base = \"ou=none, O=ACME\"\n", "jdoe", ""},
            {"base = \"o=acme\"\n", "nobody.sales", ""},
        };
        for (const auto &one : cases) {
            SCOPED_TRACE(std::string(one.line) + one.user + " " + access);
            onServers({server.uri()}, one.line);
            const Outcome outcome = login(one.user, "moonlight");
            const std::string sentence =
                "to tree ACME: cannot read the directory data or configuration: ACME: the server "
                "does not hold " +
                one.held + ": its naming contexts are o=acme\n";
            if (!one.held.empty())
                EXPECT_THAT(outcome.err, testing::HasSubstr(sentence));
            else
                EXPECT_EQ(outcome.err.find("does not hold"), std::string::npos) << outcome.err;
            EXPECT_EQ(outcome.status == 3, !one.held.empty()) << outcome.status;
        }
        onServers({server.uri()}, "base = \"o=acme\"\n");
        EXPECT_EQ(login("jdoe.sales").status, 0);
        const std::vector<std::string> operations = server.operations();
        const std::string asked = "SRCH base=\"\"";
        const auto last = std::find_if(operations.rbegin(), operations.rend(), [&](const std::string &operation) {
            return operation.find("BIND dn=\"cn=jdoe,ou=sales,o=acme\"") != std::string::npos;
        });
        ASSERT_NE(last, operations.rend());
        EXPECT_THAT(std::vector<std::string>(operations.rbegin(), last + 2),
                    testing::Not(testing::Contains(testing::HasSubstr(asked))))
            << "only when a login has failed";
    }
}

TEST_F(LdapLogin, NeedsAtMostNineOperations) {
    Slapd server(sample());
    onServers({server.uri()});
    Outcome outcome = login();
    EXPECT_NE(outcome.out.find("There are requests to approve."), std::string::npos) << outcome.err;
    std::vector<std::string> operations = server.operations();
    EXPECT_LE(operations.size(), 9u) << testing::PrintToString(operations);
    // The log was understood: there is a login in it, and the end of the connection.
    EXPECT_THAT(operations, testing::Contains(testing::HasSubstr("BIND dn=\"cn=jdoe,ou=sales,o=acme\"")));
    EXPECT_THAT(operations, testing::Contains(testing::HasSubstr("UNBIND")));
}

TEST_F(LdapLogin, AsksForGroupsOnceForTheWholeLogin) {
    Slapd server(sample());
    onServers({server.uri()});
    login();
    int searches = 0;
    for (const std::string &operation : server.operations())
        searches += operation.find("(member=cn=jdoe,ou=sales,o=acme)") != std::string::npos ? 1 : 0;
    EXPECT_EQ(searches, 1);
}

TEST_F(LdapLogin, KnowsEachOfHundredsOfGroupsOnce) {
    Slapd::Setup setup = sample();
    for (int i = 0; i < 400; i++) {
        const std::string name = "team" + std::to_string(i);
        setup.ldif += "\ndn: cn=" + name + ",o=acme\nobjectClass: groupOfNames\ncn: " + name +
                      "\nmember: cn=jdoe,ou=sales,o=acme\n";
    }
    Slapd server(setup);
    onServers({server.uri()});
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    std::vector<std::string> groups = read(here, "jdoe.sales.acme", "Group Membership");
    for (const char *name : {"team0.acme", "team399.acme", "managers.acme"})
        EXPECT_EQ(std::count(groups.begin(), groups.end(), name), 1) << name;
    EXPECT_EQ(std::set<std::string>(groups.begin(), groups.end()).size(), groups.size());
    EXPECT_GE(groups.size(), 401u);
}

TEST_F(LdapLogin, WorksWhereOnlyUsersMayRead) {
    Slapd server(forUsersOnly());
    onTheEmbeddedTree();
    std::string expected = login().out;
    // The programs that a script runs ask as nobody: they go by what the login has read.
    onServers({server.uri()});
    Outcome outcome = login();
    EXPECT_EQ(outcome.out, expected);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(login("nobody.sales.acme").status, 2);
}

TEST_F(LdapLogin, SeesALockThatOnlyTheUserMayRead) {
    Slapd::Setup setup = sample();
    setup.access =
        "access to attrs=userPassword by anonymous auth by * none\n"
        "access to attrs=qrtLocked,qrtLoginDisabled,displayName by self read by * none\naccess to * by * read\n";
    setup.ldif +=
        "\ndn: cn=off,o=acme\nobjectClass: person\nobjectClass: qrtUser\ncn: off\nsn: Off\nqrtLoginDisabled: TRUE\n"
        "userPassword: {CRYPT}$y$j9T$kVnXu3bZ9q2mT1aL8cRw0.$EfsU6c3Z9X.krxJs9kRwoN.oJ3pL5E6lfUMlTLbWpV4\n";
    Slapd server(setup);
    onServers({server.uri()});
    EXPECT_EQ(loginHere("rfox.it.acme", "seaweed"), ZKE_ACCOUNT_LOCKED);
    EXPECT_EQ(lastError(), "CN=rfox.OU=it.O=acme is locked");
    EXPECT_EQ(read(here, "rfox.it.acme", "Full Name"), std::vector<std::string>{}) << "nobody is logged in";
    EXPECT_EQ(loginHere("off.acme", "sunflower"), ZKE_ACCOUNT_LOCKED);
    EXPECT_EQ(lastError(), "CN=off.O=acme is disabled");
    EXPECT_EQ(ZKDSCanDSAuthenticate(here), 0u);
    EXPECT_EQ(loginHere("rfox.it.acme", "wrong"), ZKE_WRONG_PASSWORD);
}

TEST_F(LdapLogin, EscapesWhateverANameContains) {
    Slapd server(withOddPeople());
    onServers({server.uri()});
    EXPECT_EQ(loginHere("x*y \\\\+z.R,D (east).acme", "odd"), ZK_OK) << lastError();
    EXPECT_EQ(read(here, "x*y \\\\+z.R,D (east).acme", "Full Name"), std::vector<std::string>{"Odd One"});
    EXPECT_EQ(ZKDSLogout(here), ZK_OK);
    for (const char *name : {"x*.R,D (east).acme", "*.acme", "*)(cn\\=jdoe.sales.acme", "x\\*y.R,D (east).acme"})
        EXPECT_EQ(loginHere(name, "odd"), ZKE_NO_SUCH_ENTRY) << name;
}

TEST_F(LdapLogin, FindsUsersNamedByUid) {
    Slapd server(withOddPeople());
    onServers({server.uri()});
    EXPECT_EQ(loginHere("asmith.R,D (east).acme", "ann"), ZK_OK) << lastError();
    EXPECT_EQ(who_am_i(here), "asmith.R,D (east).acme");
}

TEST_F(LdapLogin, TakesAUserNamedByUidWithTheTypeOnlyWhereNobodyMayRead) {
    Slapd::Setup setup = withOddPeople();
    setup.global = "require authc\n";
    Slapd server(setup);
    onServers({server.uri()}, "search_base = \"o=acme\"\n");
    EXPECT_EQ(loginHere("asmith.R,D (east).acme", "ann"), ZKE_WRONG_PASSWORD);
    EXPECT_EQ(loginHere("uid=asmith.R,D (east).acme", "ann"), ZK_OK) << lastError();
    ASSERT_EQ(ZKDSLogout(here), ZK_OK);
    EXPECT_EQ(loginHere("jdoe.sales.acme", "sunflower"), ZK_OK) << lastError();
}

TEST_F(LdapLogin, TakesTheTreesOwnAttributeNames) {
    Slapd server(sample());
    onServers({server.uri()}, "attributes = { displayName = \"sn\", sn = \"title\" }\n");
    EXPECT_EQ(loginHere(), ZK_OK) << lastError();
    EXPECT_EQ(read(here, "jdoe.sales.acme", "Full Name"), std::vector<std::string>{"Doe"});
    EXPECT_EQ(read(here, "jdoe.sales.acme", "Surname"), std::vector<std::string>{"Account manager"});
}

TEST_F(LdapLogin, RunsAScriptThatIsKeptInAnotherAttribute) {
    Slapd::Setup setup = plain();
    setup.ldif.replace(
        setup.ldif.find("sn: Park\n"), 0,
        "description:: "
        "V1JJVEUgImhlbGxvICVGVUxMX05BTUUiCklGIE1FTUJFUiBPRiAiLmNyZXcuYWNtZSIgVEhFTiBXUklURSAiaW4gdGhlIGNyZXciCg==\n");
    setup.ldif +=
        "\ndn: cn=crew,o=acme\nobjectClass: groupOfNames\ncn: crew\nmember: o=acme\n"
        "owner: uid=kim,ou=people,o=acme\n";
    Slapd server(setup);
    defaultServer = "";
    onServers({server.uri()},
              "attributes = { qrtLoginScript = \"description\", displayName = \"commonName\", "
              "uniqueMember = \"owner\", cn = \"title\" }\n");
    Outcome outcome = login("kim.people.acme", "daisy");
    EXPECT_THAT(outcome.out, testing::HasSubstr("hello Kim Park\nin the crew\n")) << outcome.err;
}

TEST_F(LdapLogin, ServesUsersAndGroupsOfADirectoryWithoutTheSchema) {
    Slapd server(plain());
    defaultServer = "";
    onServers({server.uri()});
    ASSERT_EQ(loginHere("kim.people.acme", "daisy"), ZK_OK) << lastError();
    EXPECT_EQ(read(here, "kim.people.acme", "Full Name"), std::vector<std::string>{"Kim Park"});
    EXPECT_EQ(read(here, "kim.people.acme", "Telephone Number"), std::vector<std::string>{"+1 555 0199"});
    EXPECT_EQ(read(here, "kim.people.acme", "Group Membership"),
              (std::vector<std::string>{"kept-with-the-user.acme", "friends.acme"}));
    read(here, "kim.people.acme", "Login Script");
    EXPECT_EQ(lastCode, ZKE_NO_SUCH_ATTRIBUTE);
}

TEST_F(LdapLogin, ReadsAnObjectOnceForTheWholeLogin) {
    Slapd server(sample());
    onServers({server.uri()});
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    for (const char *attribute : {"Full Name", "Title", "Telephone Number", "Home Directory", "Full Name"}) {
        read(here, "admin.acme", attribute);
        read(here, "jdoe.sales.acme", attribute);
    }
    int searches = 0;
    for (const std::string &operation : server.operations())
        searches += operation.compare(0, 4, "SRCH") == 0 && operation.find("cn=admin,o=acme") != std::string::npos;
    EXPECT_EQ(searches, 1);
}

TEST_F(LdapLogin, ServesATreeBelowABaseAndBelowASearchBase) {
    Slapd server(sample());
    onServers({server.uri()}, "base = \"o=acme\"\n");
    EXPECT_EQ(loginHere("jdoe.sales"), ZK_OK) << lastError();
    EXPECT_EQ(who_am_i(here), "jdoe.sales");
}

TEST_F(LdapLogin, SearchesBelowTheSearchBaseOnly) {
    Slapd server(sample());
    defaultServer = "";
    onServers({server.uri()}, "search_base = \"ou=sales,o=acme\"\n");
    EXPECT_EQ(loginHere("admin.acme", "starfish"), ZKE_NO_SUCH_ENTRY);
    EXPECT_EQ(loginHere("mlee.emea.sales.acme", "moonlight"), ZK_OK) << lastError();
}

TEST_F(LdapLogin, SendsNoPasswordInTheClear) {
    Slapd server(sample());
    onStrictServers({server.uri()});
    Outcome outcome = login();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, testing::HasSubstr("the password was not sent: the connection is not encrypted"));
    for (const std::string &operation : server.operations())
        EXPECT_EQ(operation.find("BIND dn"), std::string::npos) << operation;
}

TEST_F(LdapLogin, WorksOverALocalSocketWithoutTls) {
    Slapd server(sample());
    onStrictServers({server.localUri()});
    Outcome outcome = login();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(login("jdoe.sales.acme", "wrong").status, 2);
}

TEST_F(LdapLogin, TakesTheKernelsWordForTheUserOverALocalSocket) {
    Slapd server(forThisProcess());
    onStrictServers({server.localUri()}, "sasl_external = true\n");
    EXPECT_EQ(loginHere("mlee.emea.sales.acme", "moonlight"), ZKE_NO_ACCESS);
    const std::string sentence = server.localUri() + ": the server takes the process's user for " +
                                 "cn=jdoe,ou=sales,o=acme, not for cn=mlee,ou=emea,ou=sales,o=acme";
    EXPECT_EQ(lastError(), sentence);
    const Outcome other = loginWithoutPassword("mlee.emea.sales.acme");
    EXPECT_EQ(other.status, 2);
    EXPECT_THAT(other.err, testing::HasSubstr("tree ACME: access denied: " + sentence));
    EXPECT_EQ(loginHere("jdoe.sales.acme", "ignored"), ZK_OK) << lastError();
    EXPECT_EQ(loginWithoutPassword(), (Outcome{0, login().out, ""}));
}

// There is no terminal here: a question would be a failure.
TEST_F(LdapLogin, ATreeThatGoesByTheKernelsWordAsksForNoPasswordAfterALoginWithOne) {
    Slapd server(forThisProcess());
    configure("[[tree]]\nname = \"ACME\"\nldif = \"" SOURCE_DIR
              "/examples/acme/acme.ldif\"\n[[tree]]\nname = \"LOCAL\"\nuris = [\"" +
              server.localUri() + "\"]\nsasl_external = true\n");
    environment["ZKCLIENT_CONF"] = folder.path("client.toml");
    home.write("move.qrt", "TREE LOCAL/.jdoe.sales.acme\nWRITE \"after\"\n");
    const std::string out = loginWithScript(home.path("move.qrt")).out;
    EXPECT_THAT(out, testing::HasSubstr("Your current tree is: LOCAL\n"));
    EXPECT_THAT(out, testing::Not(testing::HasSubstr("Could not Login")));
}

TEST_F(LdapLogin, ChecksAnotherUsersPasswordWithoutChangingWhoIsLoggedIn) {
    Slapd server(sample());
    onServers({server.uri()});
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    uint32_t other = open_server("SRV2");
    EXPECT_EQ(ZKLoginToFileServer(other, "admin", 256, "wrong"), ZKE_WRONG_PASSWORD);
    EXPECT_EQ(ZKLoginToFileServer(other, "admin", 256, "starfish"), ZK_OK) << lastError();
    EXPECT_EQ(who_am_i(here), "jdoe.sales.acme");
}

TEST_F(LdapLogin, AFailedLoginLeavesWhoWasLoggedIn) {
    Slapd server(forUsersOnly());
    onServers({server.uri()});
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    EXPECT_EQ(loginHere("jdoe.sales.acme", "wrong"), ZKE_WRONG_PASSWORD);
    EXPECT_EQ(who_am_i(here), "jdoe.sales.acme");
    EXPECT_EQ(read(here, "admin.acme", "Full Name"), std::vector<std::string>{"Pat Ashby"}) << lastError();
}

TEST_F(LdapLogin, NobodyReadsAsTheUserAfterALogout) {
    Slapd server(forUsersOnly());
    onServers({server.uri()});
    ASSERT_EQ(loginHere(), ZK_OK) << lastError();
    ASSERT_EQ(ZKDSLogout(here), ZK_OK);
    EXPECT_TRUE(read(here, "jdoe.sales.acme", "Full Name").empty());
}
