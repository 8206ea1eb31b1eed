#include "platform/client/session/connections.h"
#include "platform/client/session/login_password.h"
#include "tests/support/client_fixture.h"

namespace {

using Identity = ClientTest;

TEST_F(Identity, NobodyIsLoggedInAtFirst) {
    uint32_t handle = context();
    EXPECT_EQ("", who_am_i(handle));
    EXPECT_EQ(ZKE_NOT_LOGGED_IN, lastCode);
    EXPECT_EQ(0u, ZKDSCanDSAuthenticate(handle));
    EXPECT_EQ(ZKE_NOT_LOGGED_IN, ZKDSLogout(handle));
}

TEST_F(Identity, ALoginLastsForEveryContextOfTheTree) {
    EXPECT_EQ(ZK_OK, login(context(), "jdoe.sales.acme", "secret"));
    EXPECT_EQ("jdoe.sales.acme", who_am_i(context()));
    EXPECT_EQ("CN=jdoe.OU=sales.O=acme", who_am_i(context(0x13)));
    EXPECT_EQ("jdoe", who_am_i(context_at("sales.acme", 0x04))) << "names that are not complete fit the context";
    EXPECT_EQ(1u, ZKDSCanDSAuthenticate(context()));
    EXPECT_EQ(0u, ZKDSCanDSAuthenticate(context(session_flags, "BRANCH_TREE"))) << "another tree, another identity";
}

TEST_F(Identity, NamesInEveryFormLogIn) {
    const char *names[] = {".jdoe.sales.acme", "CN=jdoe.OU=sales.O=acme", "JDOE.Sales.ACME", "jdoe.trade.acme"};
    for (const char *name : names) {
        uint32_t handle = context();
        EXPECT_EQ(ZK_OK, login(handle, name, "secret")) << name;
        EXPECT_EQ("jdoe.sales.acme", who_am_i(handle)) << name;
        EXPECT_EQ(ZK_OK, ZKDSLogout(handle));
    }
    EXPECT_EQ(ZK_OK, login(context_at("sales.acme"), "jdoe", "secret"));
}

TEST_F(Identity, AnAliasLogsInWhomItStandsForWhateverTheFlags) {
    uint32_t handle = context(DCV_TYPELESS_NAMES | DCV_CANONICALIZE_NAMES);
    EXPECT_EQ(ZK_OK, login(handle, "john.acme", "secret"));
    EXPECT_EQ("jdoe.sales.acme", who_am_i(handle));
}

TEST_F(Identity, RefusedLogins) {
    const struct {
        uint32_t code;
        std::vector<std::pair<const char *, const char *>> logins;
    } cases[] = {
        {ZKE_WRONG_PASSWORD,
         {{"jdoe.sales.acme", "Secret"},
          {"jdoe.sales.acme", ""},
          {"locked.sales.acme", "wrong"},
          {"nopassword.sales.acme", ""},
          {"empty.sales.acme", ""}}},
        {ZKE_NO_SUCH_ENTRY,
         {{"jdoe.acme", "secret"},
          {"nobody.sales.acme", "secret"},
          {"dangling.acme", "secret"},
          {"[Root]", "secret"},
          {".[Root]", ""}}},
        {ZKE_MALFORMED_NAME, {{"jdoe..acme", "secret"}, {"", "secret"}}},
        {ZKE_ACCOUNT_LOCKED,
         {{"locked.sales.acme", "secret"}, {"disabled.sales.acme", "secret"}, {"expired.sales.acme", "secret"}}},
        {ZKE_BAD_DIRECTORY_DATA, {{"plain.sales.acme", "secret"}, {"loop1.acme", "secret"}}},
    };
    uint32_t handle = context();
    for (const auto &one : cases)
        for (const auto &[user, password] : one.logins) {
            EXPECT_EQ(one.code, login(handle, user, password)) << user;
            EXPECT_EQ(0u, ZKDSCanDSAuthenticate(handle)) << user;
        }
    EXPECT_EQ(ZKE_WRONG_PASSWORD, login(handle, "jdoe.sales.acme", "x"));
    EXPECT_EQ("wrong password for CN=jdoe.OU=sales.O=acme", last_error());
    EXPECT_EQ(ZKE_ACCOUNT_LOCKED, login(handle, "locked.sales.acme", "secret"));
    EXPECT_EQ("CN=locked.OU=sales.O=acme is locked", last_error());
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKDSLoginEx(handle, "jdoe.sales.acme", 0, "secret"));
}

TEST_F(Identity, ActingAsSomebodyAnswersAsAfterALogin) {
    uint32_t handle = context();
    EXPECT_EQ(ZK_OK, ZKDSActAs(handle, "jdoe.trade.acme"));
    EXPECT_EQ(ZK_OK, ZKDSLoginState(handle));
    EXPECT_EQ("jdoe.sales.acme", who_am_i(context()));
    EXPECT_EQ(1u, ZKDSCanDSAuthenticate(context()));
    EXPECT_EQ(1u, number_info(open_server("SRV1"), ZK_INFO_AUTHENTICATION_STATE));
    EXPECT_EQ(ZK_OK, ZKDSActAs(handle, "empty.sales.acme")) << "another one needs no logout";
    EXPECT_EQ("empty.sales.acme", who_am_i(handle));
    EXPECT_EQ(ZKE_NO_SUCH_ENTRY, ZKDSActAs(handle, "nobody.sales.acme"));
    EXPECT_EQ("empty.sales.acme", who_am_i(handle)) << "as before";
    EXPECT_EQ(ZK_OK, ZKDSActAs(handle, nullptr));
    EXPECT_EQ("", who_am_i(handle));
    EXPECT_EQ(0u, number_info(open_server("SRV1"), ZK_INFO_AUTHENTICATION_STATE));
    EXPECT_EQ(ZKE_NOT_LOGGED_IN, ZKDSLoginState(handle));
}

TEST_F(Identity, ActingAsSomebodyTellsWhyALoginWouldBeRefused) {
    uint32_t handle = context();
    EXPECT_EQ(ZK_OK, ZKDSActAs(handle, "locked.sales.acme"));
    EXPECT_EQ(ZKE_ACCOUNT_LOCKED, ZKDSLoginState(handle));
    EXPECT_EQ("CN=locked.OU=sales.O=acme is locked", last_error());
    EXPECT_EQ(ZK_OK, ZKDSActAs(handle, "nopassword.sales.acme")) << "no password is looked at";
    EXPECT_EQ(ZK_OK, ZKDSLoginState(handle));
}

TEST_F(Identity, TheUsersOfAContainerAreListed) {
    const auto usersBelow = [this](const char *container) {
        std::vector<std::string> users;
        const auto add = [](void *list, const char *name) {
            static_cast<std::vector<std::string> *>(list)->push_back(name);
        };
        lastCode = ZKDSScanUsers(context(), container, add, &users);
        return users;
    };
    const std::vector<std::string> sales = usersBelow("sales.acme");
    EXPECT_EQ(ZK_OK, lastCode);
    EXPECT_THAT(sales, testing::Contains("jdoe.sales.acme"));
    EXPECT_THAT(sales, testing::Not(testing::Contains("admin")));
    EXPECT_EQ(usersBelow(".trade.acme"), sales) << "an alias";
    EXPECT_THAT(usersBelow(nullptr), testing::IsSupersetOf(sales));
    EXPECT_THAT(usersBelow(""), testing::Contains("admin"));
    EXPECT_EQ(usersBelow("jdoe.sales.acme").size(), 0u) << "nothing is below a user";
    usersBelow("nowhere.acme");
    EXPECT_EQ(ZKE_NO_SUCH_ENTRY, lastCode);
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKDSScanUsers(context(), "", nullptr, nullptr));
}

TEST_F(Identity, OtherHashesOfTheCryptLibraryAreTaken) {
    EXPECT_EQ(ZK_OK, login(context(), "empty.sales.acme", "secret"));
}

TEST_F(Identity, TheEmbeddedTreeNeedsPasswords) {
    int needed = 7;
    EXPECT_EQ(ZKDSLoginNeedsPassword(context(), &needed), ZK_OK);
    EXPECT_EQ(needed, 1);
    EXPECT_EQ(ZKDSLoginNeedsPassword(context(), nullptr), ZKE_BAD_PARAMETER);
    EXPECT_EQ(ZKDSLoginNeedsPassword(0, &needed), ZKE_BAD_HANDLE);
    EXPECT_EQ(needed, 1);
}

TEST_F(Identity, OneIdentityATree) {
    uint32_t handle = context();
    ASSERT_EQ(ZK_OK, login(handle, "jdoe.sales.acme", "secret"));
    EXPECT_EQ(ZKE_OTHER_IDENTITY, login(handle, "admin.[Root]", "root-pw"));
    EXPECT_EQ("jdoe.sales.acme", who_am_i(handle));
    EXPECT_EQ(ZK_OK, login(handle, "john.acme", "secret")) << "the same user again";
    EXPECT_EQ(ZKE_WRONG_PASSWORD, login(handle, "jdoe.sales.acme", "x"));
    EXPECT_EQ("jdoe.sales.acme", who_am_i(handle)) << "a wrong password does not end the login";
    EXPECT_EQ(ZK_OK, ZKDSLogout(handle));
    EXPECT_EQ("", who_am_i(handle));
    EXPECT_EQ(ZK_OK, login(handle, "admin.[Root]", "root-pw"));
    EXPECT_EQ(ZK_OK, login(context(session_flags, "BRANCH_TREE"), "kim.shop", "secret"));
    EXPECT_EQ("admin", who_am_i(handle));
    EXPECT_EQ("UID=kim.OU=shop", who_am_i(context(0x13, "branch_tree")));
}

TEST_F(Identity, APasswordThatIsNoHashIsReportedWithItsLine) {
    EXPECT_EQ(ZKE_BAD_DIRECTORY_DATA, login(context(), "plain.sales.acme", "secret"));
    EXPECT_EQ("acme.ldif:94: userPassword: the password is not a {CRYPT} hash", last_error());
    uint32_t server = open_server("SRV2");
    EXPECT_EQ(ZKE_BAD_DIRECTORY_DATA, ZKLoginToFileServer(server, "plain", 256, "secret"));
    EXPECT_EQ(ZK_OK, login(context(), "jdoe.sales.acme", "secret")) << "who has another one beside a hash";
    EXPECT_EQ(ZKE_WRONG_PASSWORD, login(context(), "jdoe.sales.acme", "wrong"));
}

TEST_F(Identity, ALockedADisabledAndAnExpiredAccountAreDistinguished) {
    const std::pair<const char *, const char *> cases[] = {
        {"locked", "is locked"}, {"disabled", "is disabled"}, {"expired", "has expired"}};
    for (const auto &[user, sentence] : cases) {
        EXPECT_EQ(ZKE_ACCOUNT_LOCKED, login(context(), (user + std::string(".sales.acme")).c_str(), "secret"));
        EXPECT_EQ("CN=" + std::string(user) + ".OU=sales.O=acme " + sentence, last_error());
    }
}

// The first of two names in a file is meant otherwise, and "mail" is not looked for at all.
TEST_F(Identity, ANameWithoutTypesMeansTheUserAndTheContainersOfTheUser) {
    const std::string hash = "userPassword: {CRYPT}$1$salt$ez2vlPGdaLYkJam5pWs/Y1\n"; // "secret"
    folder.write("t.ldif",
                 "dn: l=it\nobjectClass: locality\nl: it\n\ndn: ou=it\nobjectClass: organizationalUnit\nou: it\n\n"
                 "dn: cn=max,ou=it\nobjectClass: person\ncn: max\n\n"
                 "dn: uid=max,ou=it\nobjectClass: person\nuid: max\n" +
                     hash + "\ndn: mail=eva,ou=it\nobjectClass: person\nmail: eva\n" + hash);
    configure("[[tree]]\nname = \"T\"\nldif = \"t.ldif\"\n");
    constexpr uint32_t typed = 0x13;
    EXPECT_EQ("CN=max.OU=it", canonical(context(typed), "max.it"));
    EXPECT_EQ("Locality", base_class(context(), "it"));
    ASSERT_EQ(ZK_OK, login(context(), "UID=max.OU=it", "secret"));
    EXPECT_EQ("UID=max.OU=it", canonical(context(typed), "MAX.it"));
    EXPECT_EQ("CN=max.OU=it", canonical(context(typed), "CN=max.it"));
    EXPECT_EQ("CN=new.OU=it", canonical(context(typed), "new.it"));
    EXPECT_EQ("Organizational Unit", base_class(context(), "it"));
    EXPECT_EQ(ZK_OK, login(context(), "max.it", "secret")) << "the same user again";
    EXPECT_EQ(ZKE_OTHER_IDENTITY, login(context(), "MAIL=eva.it", "secret"));
    ASSERT_EQ(ZK_OK, ZKDSLogout(context()));
    ASSERT_EQ(ZK_OK, login(context(), "MAIL=eva.it", "secret"));
    EXPECT_EQ("User", base_class(context(), who_am_i(context()).c_str()));
    EXPECT_EQ("CN=max.OU=it", canonical(context(typed), "max.it"));
}

// The same users in three trees: "secret" is jdoe's password in the first and kim's in the others.
std::string three_trees() {
    const std::string data = SOURCE_DIR "/tests/client/data/",
                      branch = data + "branch.ldif\"\nbase = \"dc=branch,dc=example\"\n";
    return "[[tree]]\nname = \"ACME\"\nldif = \"" + data + "acme.ldif\"\n[[tree]]\nname = \"OPEN\"\nldif = \"" +
           branch + "share_password = true\n[[tree]]\nname = \"CLOSED\"\nldif = \"" + branch;
}

TEST_F(Identity, TheLoginsPasswordGoesToNoOtherTreeUnasked) {
    configure(three_trees());
    ASSERT_EQ(ZK_OK, login(context(), "jdoe.sales.acme", "secret"));
    EXPECT_EQ(ZKE_NO_ACCESS, login(context(session_flags, "CLOSED"), "kim.shop", "secret"));
    EXPECT_EQ("CLOSED: the password of the login was not sent: the tree has no share_password", last_error());
    EXPECT_EQ(ZK_OK, login(context(session_flags, "CLOSED"), "kim.shop", "secret")) << "typed by the person";
}

TEST_F(Identity, ThePasswordIsSharedOnlyWhereAFurtherTreeTakesIt) {
    int shared = 7;
    configure(three_trees());
    EXPECT_EQ(ZK_OK, ZKDSLoginPasswordIsShared(context(), &shared));
    EXPECT_EQ(1, shared);
    EXPECT_EQ(ZK_OK, ZKDSLoginPasswordIsShared(context(session_flags, "OPEN"), &shared));
    EXPECT_EQ(0, shared) << "a tree's own login is not meant";
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKDSLoginPasswordIsShared(context(), nullptr));
}

TEST_F(Identity, ATreeThatNeedsNoPasswordIsNoReasonToKeepIt) {
    int shared = 7;
    configure("[[tree]]\nname = \"ACME\"\nldif = \"" SOURCE_DIR
              "/tests/client/data/acme.ldif\"\n[[tree]]\nname = \"TICKETS\"\nuris = [\"ldap://a.example\"]\n"
              "sasl_gssapi = true\nshare_password = true\n");
    EXPECT_EQ(ZK_OK, ZKDSLoginPasswordIsShared(context(), &shared)) << last_error();
    EXPECT_EQ(0, shared);
}

TEST_F(Identity, EveryChangeOfTreeIsAFirstAttempt) {
    configure(three_trees());
    ASSERT_EQ(ZK_OK, login(context(), "jdoe.sales.acme", "secret"));
    uint32_t there = context(session_flags, "CLOSED"), probe = context();
    EXPECT_EQ(ZKE_NO_ACCESS, login(there, "kim.shop", "secret"));
    ZKDSCanDSAuthenticate(there);
    EXPECT_EQ(ZKE_NO_ACCESS, login(there, "kim.shop", "secret"));
    ZKDSFreeContext(probe);
    EXPECT_EQ(ZKE_NO_ACCESS, login(there, "kim.shop", "secret"));
    EXPECT_EQ(ZKE_WRONG_PASSWORD, login(there, "kim.shop", "another")) << "only the login's is held back";
}

TEST_F(Identity, ATreeThatSharesOpensNoOther) {
    configure(three_trees());
    ASSERT_EQ(ZK_OK, login(context(), "jdoe.sales.acme", "secret"));
    EXPECT_EQ(ZK_OK, login(context(session_flags, "OPEN"), "kim.shop", "secret"));
    EXPECT_EQ(ZKE_NO_ACCESS, login(context(session_flags, "CLOSED"), "kim.shop", "secret"));
}

TEST_F(Identity, AnotherLoginToTheFirstTreeDoesNotFreeThePassword) {
    configure(three_trees());
    uint32_t handle = context();
    ASSERT_EQ(ZK_OK, login(handle, "jdoe.sales.acme", "secret"));
    ASSERT_EQ(ZK_OK, ZKDSLogout(handle));
    ASSERT_EQ(ZK_OK, login(handle, "admin.[Root]", "root-pw"));
    EXPECT_EQ(ZKE_NO_ACCESS, login(context(session_flags, "CLOSED"), "kim.shop", "secret"));
    ASSERT_EQ(ZK_OK, ZKDSLogout(handle));
    EXPECT_EQ(ZK_OK, login(handle, "jdoe.sales.acme", "secret")) << "the login's own tree";
}

TEST_F(Identity, ALoginAuthenticatesTheTreesOwnServer) {
    uint32_t connection = open_server("SRV1");
    EXPECT_EQ(0u, number_info(connection, ZK_INFO_AUTHENTICATION_STATE));
    EXPECT_EQ(0u, number_info(connection, ZK_INFO_USER_NUMBER));
    ASSERT_EQ(ZK_OK, login(context(), "admin.[Root]", "root-pw"));
    EXPECT_NE(0u, number_info(connection, ZK_INFO_AUTHENTICATION_STATE));
    EXPECT_EQ(7u, number_info(connection, ZK_INFO_USER_NUMBER)) << "the user's uidNumber";
    ASSERT_EQ(ZK_OK, ZKDSLogout(context()));
    EXPECT_EQ(0u, number_info(connection, ZK_INFO_AUTHENTICATION_STATE));
    EXPECT_EQ(0u, number_info(connection, ZK_INFO_USER_NUMBER));
}

TEST_F(Identity, ALoginIsTheContextsLastConnection) {
    uint32_t handle = context(), connection = 0;
    ASSERT_EQ(ZK_OK, login(handle, "jdoe.sales.acme", "secret"));
    ASSERT_EQ(ZK_OK, ZKDSGetContext(handle, DCK_LAST_CONNECTION, &connection));
    EXPECT_EQ("SRV1", text_info(connection, ZK_INFO_SERVER_NAME));
    uint32_t second = open_server("SRV2");
    ASSERT_EQ(ZK_OK, ZKDSAuthenticateConnEx(handle, second));
    ASSERT_EQ(ZK_OK, ZKDSGetContext(handle, DCK_LAST_CONNECTION, &connection));
    EXPECT_EQ(second, connection);
}

TEST_F(Identity, ALogoutLeavesWhoeverElseIsLoggedInAtAServer) {
    uint32_t second = open_server("SRV2"), outside = open_server("OLDSRV");
    ASSERT_EQ(ZK_OK, ZKLoginToFileServer(second, "jdoe", 256, "secret"));
    ASSERT_EQ(ZK_OK, ZKLoginToFileServer(outside, "jdoe", 256, "out-pw"));
    ASSERT_EQ(ZK_OK, login(context(), "admin.[Root]", "root-pw"));
    ASSERT_EQ(ZK_OK, ZKDSLogout(context()));
    EXPECT_EQ(1u, number_info(second, ZK_INFO_AUTHENTICATION_STATE));
    EXPECT_EQ(1u, number_info(outside, ZK_INFO_AUTHENTICATION_STATE));
    ASSERT_EQ(ZK_OK, login(context(), "jdoe.sales.acme", "secret"));
    ASSERT_EQ(ZK_OK, ZKDSLogout(context()));
    EXPECT_EQ(0u, number_info(second, ZK_INFO_AUTHENTICATION_STATE)) << "the same user's";
}

TEST_F(Identity, WithOneTreeAloneNothingOfThePasswordIsKept) {
    configure("[[tree]]\nname = \"ACME\"\nldif = \"" SOURCE_DIR "/tests/client/data/acme.ldif\"\n");
    ASSERT_EQ(ZK_OK, login(context(), "jdoe.sales.acme", "secret"));
    const Tree other;
    EXPECT_FALSE(login_password_is_held_back(&other, "secret"));
}

TEST_F(Identity, ALoginNeedsAConnectionToTheTreesServer) {
    std::string toml = "[[tree]]\nname = \"ACME\"\nldif = \"" SOURCE_DIR "/tests/client/data/acme.ldif\"\n";
    for (size_t i = 0; i < connection_limit; i++) toml += "[[server]]\nname = \"S" + std::to_string(i) + "\"\n";
    configure(toml);
    for (size_t i = 0; i < connection_limit; i++) open_server(("S" + std::to_string(i)).c_str());
    EXPECT_EQ(ZKE_SERVER_NO_SLOTS, login(context(), "jdoe.sales.acme", "secret"));
    EXPECT_EQ("", who_am_i(context()));
    EXPECT_EQ(ZKE_NOT_LOGGED_IN, lastCode);
    ZKCCCloseConn(open_server("S7"));
    ZKCCCloseConn(open_server("S7"));
    ASSERT_EQ(ZK_OK, ZKCCCloseConn(8));
    EXPECT_EQ(ZK_OK, login(context(), "jdoe.sales.acme", "secret"));
}

TEST_F(Identity, ALoginLeavesAServerToWhoeverIsLoggedInThere) {
    uint32_t connection = open_server("SRV1");
    ASSERT_EQ(ZK_OK, ZKLoginToFileServer(connection, "admin", 256, "root-pw"));
    ASSERT_EQ(ZK_OK, login(context(), "jdoe.sales.acme", "secret"));
    EXPECT_EQ(7u, number_info(connection, ZK_INFO_USER_NUMBER)) << "admin's";
    EXPECT_EQ(ZKE_DIFF_OBJECT_ALREADY_AUTHEN, ZKDSAuthenticateConnEx(context(), connection));
}

TEST_F(Identity, TheOwnServerIsAuthenticatedAlsoWhenItIsOpenedAfterTheLogin) {
    ASSERT_EQ(ZK_OK, login(context(), "jdoe.sales.acme", "secret"));
    uint32_t connection = open_server("srv1");
    while (ZKCCCloseConn(connection) == ZK_OK) {
    }
    EXPECT_NE(0u, number_info(open_server("srv1"), ZK_INFO_AUTHENTICATION_STATE));
}

TEST_F(Identity, OtherServersOfTheTreeAuthenticateOnRequest) {
    uint32_t connection = open_server("SRV2");
    uint32_t fresh = context();
    EXPECT_EQ(ZKE_NOT_LOGGED_IN, ZKDSAuthenticateConnEx(fresh, connection));
    ASSERT_EQ(ZK_OK, login(context(), "jdoe.sales.acme", "secret"));
    EXPECT_EQ(0u, number_info(connection, ZK_INFO_AUTHENTICATION_STATE));
    EXPECT_EQ(ZK_OK, ZKDSAuthenticateConnEx(fresh, connection));
    EXPECT_EQ(ZK_OK, ZKDSAuthenticateConnEx(fresh, connection)) << "once more changes nothing";
    EXPECT_NE(0u, number_info(connection, ZK_INFO_AUTHENTICATION_STATE));
    EXPECT_NE(0u, number_info(connection, ZK_INFO_USER_NUMBER));
    EXPECT_EQ(ZKE_CONN_INVALID, ZKDSAuthenticateConnEx(fresh, 4711));
    EXPECT_EQ(ZKE_BAD_HANDLE, ZKDSAuthenticateConnEx(4711, connection));
}

TEST_F(Identity, TheConnectionsTreeDecidesNotTheContexts) {
    ASSERT_EQ(ZK_OK, login(context(session_flags, "BRANCH_TREE"), "kim.shop", "secret"));
    EXPECT_EQ(ZK_OK, ZKDSAuthenticateConnEx(context(session_flags, "ACME"), open_server("SRV9")));
    EXPECT_EQ(ZKE_NOT_LOGGED_IN, ZKDSAuthenticateConnEx(context(session_flags, "BRANCH_TREE"), open_server("SRV2")));
    EXPECT_EQ(ZKE_NOT_LOGGED_IN, ZKDSAuthenticateConnEx(context(), open_server("OLDSRV")));
}

TEST_F(Identity, AServerOutsideTheTreesHasItsOwnUsers) {
    uint32_t connection = open_server("oldsrv", ZK_NAME_FILE_SERVER);
    EXPECT_EQ(ZKE_NO_SUCH_ENTRY, ZKLoginToFileServer(connection, "nobody", 256, "out-pw"));
    EXPECT_EQ(ZKE_WRONG_PASSWORD, ZKLoginToFileServer(connection, "jdoe", 256, "secret"));
    EXPECT_EQ(0u, number_info(connection, ZK_INFO_AUTHENTICATION_STATE));
    EXPECT_EQ(ZK_OK, ZKLoginToFileServer(connection, "JDoe", 256, "out-pw"));
    EXPECT_NE(0u, number_info(connection, ZK_INFO_AUTHENTICATION_STATE));
    EXPECT_EQ(1u, number_info(connection, ZK_INFO_USER_NUMBER));
    EXPECT_EQ(ZK_OK, ZKLoginToFileServer(connection, "jdoe", 256, "out-pw"));
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKLoginToFileServer(connection, "jdoe", 1, "out-pw"));
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKLoginToFileServer(connection, nullptr, 256, "out-pw"));
    EXPECT_EQ(ZKE_CONN_INVALID, ZKLoginToFileServer(4711, "jdoe", 256, "out-pw"));
}

TEST_F(Identity, AServersOwnUsersAreNumberedInTheirOrder) {
    const std::string hash = "{CRYPT}$1$salt$ez2vlPGdaLYkJam5pWs/Y1"; // "secret"
    folder.write("t.ldif", "dn: cn=SRV\nobjectClass: qrtServer\ncn: SRV\nqrtServerUser: nohash\nqrtServerUser: a " +
                               hash + "\nqrtServerUser: b c " + hash +
                               "\n\ndn: cn=a\nobjectClass: person\ncn: a\nuserPassword: " + hash + "\n");
    std::string users;
    for (const char *name : {"a", "b"})
        users += "[[server.user]]\nname = \"" + std::string(name) + "\"\npassword = \"" + hash + "\"\n";
    configure("[[tree]]\nname = \"T\"\nldif = \"t.ldif\"\n[[server]]\nname = \"OUT\"\n" + users);
    const struct {
        const char *server, *user;
        uint32_t number;
    } cases[] = {{"SRV", "A", 2}, {"SRV", "b c", 3}, {"OUT", "A", 1}, {"OUT", "b", 2}};
    for (const auto &one : cases) {
        uint32_t connection = open_server(one.server);
        ASSERT_EQ(ZK_OK, ZKLoginToFileServer(connection, one.user, 256, "secret")) << one.user;
        EXPECT_EQ(one.number, number_info(connection, ZK_INFO_USER_NUMBER));
        EXPECT_EQ(1u, number_info(connection, ZK_INFO_AUTHENTICATION_STATE));
        ASSERT_EQ(ZK_OK, ZKCCCloseConn(connection));
    }
    uint32_t connection = open_server("SRV");
    EXPECT_EQ(ZKE_NO_SUCH_ENTRY, ZKLoginToFileServer(connection, "nohash", 256, "secret"));
    EXPECT_EQ(ZKE_MALFORMED_NAME, ZKLoginToFileServer(connection, "a..b", 256, "secret"));
    EXPECT_EQ(ZKE_NO_SUCH_ENTRY, ZKLoginToFileServer(connection, "[Root]", 256, "secret"));
}

TEST_F(Identity, AServerOfATreeTakesItsOwnUsersAndTheDirectorys) {
    uint32_t first = open_server("SRV1");
    EXPECT_EQ(ZKE_NO_SUCH_ENTRY, ZKLoginToFileServer(first, "operator", 256, "wrong"));
    EXPECT_EQ(ZK_OK, ZKLoginToFileServer(first, "operator", 256, "srv-pw"));
    EXPECT_EQ(ZKE_DIFF_OBJECT_ALREADY_AUTHEN, ZKLoginToFileServer(first, "jdoe.sales", 256, "secret"));
    uint32_t second = open_server("SRV2");
    EXPECT_EQ(ZKE_ACCOUNT_LOCKED, ZKLoginToFileServer(second, "locked", 256, "secret"));
    EXPECT_EQ(ZKE_WRONG_PASSWORD, ZKLoginToFileServer(second, "jdoe", 256, "wrong"));
    EXPECT_EQ(ZK_OK, ZKLoginToFileServer(second, "jdoe", 256, "secret")) << "from the server's container";
    EXPECT_EQ(ZK_OK, ZKLoginToFileServer(second, "jdoe.sales.acme", 256, "secret")) << "from the root";
    EXPECT_EQ("", who_am_i(context())) << "this is no login to the tree";
    ASSERT_EQ(ZK_OK, login(context(), "admin.[Root]", "root-pw"));
    EXPECT_EQ(ZKE_DIFF_OBJECT_ALREADY_AUTHEN, ZKDSAuthenticateConnEx(context(), second));
}

} // namespace
