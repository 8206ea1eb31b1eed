#include "platform/client/session/connections.h"

#include <cstring>

#include "tests/support/client_fixture.h"

namespace {

class Connections : public ClientTest {
  protected:
    uint32_t default_reference() {
        uint32_t reference = 0;
        lastCode = ZKGetDefaultConnRef(&reference);
        return reference;
    }

    uint32_t open_reference(uint32_t reference) {
        uint32_t connection = 0;
        lastCode = ZKCCOpenConnByRef(reference, ZK_OPEN_BY_REFERENCE, 0, &connection);
        return connection;
    }

    uint32_t scan(uint32_t *iteration, const char *server) {
        uint32_t connection = 0;
        lastCode = ZKCCScanConnInfo(iteration, ZK_INFO_SERVER_NAME, server, 11, 1, 0, nullptr, &connection);
        return connection;
    }
};

TEST_F(Connections, ATreesNameLeadsToItsDefaultServer) {
    uint32_t connection = open_server("acme");
    EXPECT_EQ("SRV1", text_info(connection, ZK_INFO_SERVER_NAME));
    EXPECT_EQ("ACME____________________________", text_info(connection, ZK_INFO_TREE_NAME)) << "32 bytes, padded";
    EXPECT_EQ(connection, open_server("SRV1")) << "the same server, the same connection";
    EXPECT_EQ("BRANCH_TREE_____________________", text_info(open_server("srv9"), ZK_INFO_TREE_NAME));
    EXPECT_EQ("SRV9", text_info(open_server("BRANCH_TREE"), ZK_INFO_SERVER_NAME)) << "the first one of the file";
}

TEST_F(Connections, ServersAreFoundInAnyLetterCaseAndReturnTheirSpelling) {
    EXPECT_EQ("SRV2", text_info(open_server("srv2", ZK_NAME_FILE_SERVER), ZK_INFO_SERVER_NAME));
    EXPECT_EQ("OLDSRV", text_info(open_server("OldSrv", ZK_NAME_FILE_SERVER), ZK_INFO_SERVER_NAME));
}

TEST_F(Connections, AServersNameIsItsCommonNameWhateverItsObjectIsCalled) {
    folder.write("t.ldif",
                 "dn: uid=box7\nobjectClass: qrtServer\nuid: box7\ncn: SRV7\n\n"
                 "dn: cn=SRV8\nobjectClass: qrtServer\ncn: SRV9\ncn: SRV8\n");
    configure("[[tree]]\nname = \"T\"\nldif = \"t.ldif\"\ndefault_server = \"srv7\"\n");
    EXPECT_EQ("SRV7", text_info(open_server("T"), ZK_INFO_SERVER_NAME));
    EXPECT_EQ("SRV8", text_info(open_server("srv8"), ZK_INFO_SERVER_NAME)) << "the one in its object's name";
    for (const char *name : {"box7", "SRV9"}) {
        open_server(name);
        EXPECT_EQ(ZKE_SERVER_NOT_FOUND, lastCode) << name;
    }
}

TEST_F(Connections, NamesThatLeadNowhere) {
    const char *names[] = {"SRV7", "", "jdoe", "SRV1_SYS", "SRV1.acme"};
    for (const char *name : names) {
        open_server(name);
        EXPECT_EQ(ZKE_SERVER_NOT_FOUND, lastCode) << name;
    }
    open_server("ACME", ZK_NAME_FILE_SERVER);
    EXPECT_EQ(ZKE_SERVER_NOT_FOUND, lastCode) << "a tree is no file server";
}

TEST_F(Connections, AnItemIsReturnedOnlyWhereThereIsRoomForIt) {
    uint32_t connection = open_server("SRV1");
    char text[ZK_SERVER_NAME_SIZE];
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKCCGetConnInfo(connection, 99, sizeof text, text));
    const std::pair<uint32_t, uint32_t> sizes[] = {{ZK_INFO_SERVER_NAME, 5},          {ZK_INFO_TREE_NAME, 33},
                                                   {ZK_INFO_AUTHENTICATION_STATE, 4}, {ZK_INFO_CONNECTION_NUMBER, 4},
                                                   {ZK_INFO_USER_NUMBER, 4},          {ZK_INFO_COUNTED_STATE, 4}};
    for (const auto &[item, size] : sizes) {
        EXPECT_EQ(ZKE_BUFFER_TOO_SMALL, ZKCCGetConnInfo(connection, item, size - 1, text)) << item;
        EXPECT_EQ(ZK_OK, ZKCCGetConnInfo(connection, item, size, text)) << item;
    }
}

TEST_F(Connections, AConnectionLivesUntilEveryUseIsClosed) {
    uint32_t connection = open_server("SRV1");
    open_server("SRV1");
    EXPECT_EQ(ZK_OK, ZKCCCloseConn(connection));
    EXPECT_EQ("SRV1", text_info(connection, ZK_INFO_SERVER_NAME));
    EXPECT_EQ(ZK_OK, ZKCCCloseConn(connection));
    EXPECT_EQ(ZKE_CONN_INVALID, ZKCCCloseConn(connection));
    EXPECT_EQ("?", text_info(connection, ZK_INFO_SERVER_NAME));
    EXPECT_EQ(ZKE_CONN_INVALID, lastCode);
    EXPECT_EQ(ZKE_CONN_INVALID, ZKCCSetPrimConn(connection));
    EXPECT_EQ(ZKE_CONN_INVALID, ZKCCLicenseConn(connection));
    EXPECT_NE(connection, open_server("SRV1")) << "a stale handle stays stale";
}

TEST_F(Connections, TheDefaultConnectionIsThePrimaryOneOrElseTheOldest) {
    default_reference();
    EXPECT_EQ(ZKE_CONN_INVALID, lastCode) << "without any connection";
    uint32_t first = open_server("SRV1");
    uint32_t second = open_server("SRV2");
    EXPECT_EQ(first, open_reference(default_reference()));
    EXPECT_EQ(ZK_OK, ZKCCSetPrimConn(second));
    EXPECT_EQ(second, open_reference(default_reference()));
    EXPECT_EQ(ZK_OK, ZKCCCloseConn(second));
    EXPECT_EQ(ZK_OK, ZKCCCloseConn(second));
    EXPECT_EQ(first, open_reference(default_reference())) << "the primary one is closed";
    open_reference(0);
    EXPECT_EQ(ZKE_CONN_INVALID, lastCode);
    open_reference(first);
    EXPECT_EQ(ZKE_CONN_INVALID, lastCode) << "a handle is no reference";
}

TEST_F(Connections, StationNumbersAreTheLowestFreeOnes) {
    uint32_t first = open_server("SRV1");
    EXPECT_EQ(1u, number_info(first, ZK_INFO_CONNECTION_NUMBER));
    EXPECT_EQ(2u, number_info(open_server("SRV2"), ZK_INFO_CONNECTION_NUMBER));
    ZKCCCloseConn(first);
    EXPECT_EQ(1u, number_info(open_server("OLDSRV"), ZK_INFO_CONNECTION_NUMBER));
}

TEST_F(Connections, AServerOutsideTheTreesHasNoTree) {
    EXPECT_EQ("?", text_info(open_server("OLDSRV"), ZK_INFO_TREE_NAME));
    EXPECT_EQ(ZKE_TREE_NOT_FOUND, lastCode);
}

TEST_F(Connections, OpenConnectionsAreScannedByTheServersName) {
    uint32_t iteration = 0;
    scan(&iteration, "SRV2");
    EXPECT_EQ(ZKE_NO_MORE_ENTRIES, lastCode);
    open_server("SRV1");
    uint32_t second = open_server("SRV2");
    EXPECT_EQ(second, scan(&iteration, "srv2"));
    scan(&iteration, "srv2");
    EXPECT_EQ(ZKE_NO_MORE_ENTRIES, lastCode) << "there is no second one";
    EXPECT_EQ(ZK_OK, ZKCCCloseConn(second)) << "the scan counted a use";
    EXPECT_EQ("SRV2", text_info(second, ZK_INFO_SERVER_NAME));
    uint32_t connection = 0;
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKCCScanConnInfo(&iteration, 5, "SRV2", 11, 1, 0, nullptr, &connection));
}

TEST_F(Connections, AScanOfATreeGoesThroughItsConnectionsAndReturnsAnItem) {
    uint32_t first = open_server("SRV1");
    open_server("SRV9");
    uint32_t second = open_server("SRV2");
    uint32_t iteration = UINT32_MAX, connection = 0;
    char tree[ZK_TREE_NAME_SIZE];
    ASSERT_EQ(ZK_OK, ZKCCScanConnInfo(&iteration, 4, "acme", 11, 1, sizeof tree, tree, &connection));
    EXPECT_EQ(first, connection);
    EXPECT_EQ(0, strncmp("ACME____", tree, 8));
    ASSERT_EQ(ZK_OK, ZKCCScanConnInfo(&iteration, 4, "acme", 11, 1, 0, nullptr, &connection));
    EXPECT_EQ(second, connection);
    EXPECT_EQ(ZKE_NO_MORE_ENTRIES, ZKCCScanConnInfo(&iteration, 4, "acme", 11, 1, 0, nullptr, &connection));
}

TEST_F(Connections, AScanWhoseItemCannotBeReturnedGoesNoFurther) {
    uint32_t first = open_server("SRV1");
    uint32_t iteration = UINT32_MAX, connection = 0;
    char tree[ZK_TREE_NAME_SIZE];
    EXPECT_EQ(ZKE_BUFFER_TOO_SMALL, ZKCCScanConnInfo(&iteration, 4, "acme", 11, 1, 32, tree, &connection));
    EXPECT_EQ(UINT32_MAX, iteration);
    EXPECT_EQ(0u, connection);
    EXPECT_EQ(ZK_OK, ZKCCScanConnInfo(&iteration, 4, nullptr, 11, 1, 0, tree, &connection)) << "no room, no item";
    EXPECT_EQ(first, connection);
    EXPECT_EQ(ZK_OK, ZKCCCloseConn(first));
    EXPECT_EQ(ZK_OK, ZKCCCloseConn(first));
    EXPECT_EQ(ZKE_CONN_INVALID, ZKCCCloseConn(first)) << "only what was found counts as a use";
}

TEST_F(Connections, AConnectionOutsideTheTreesIsFoundByNoTree) {
    open_server("OLDSRV");
    uint32_t iteration = UINT32_MAX, connection = 0;
    for (const char *tree : {"acme", "nowhere"})
        EXPECT_EQ(ZKE_NO_MORE_ENTRIES, ZKCCScanConnInfo(&iteration, 4, tree, 11, 1, 0, nullptr, &connection)) << tree;
}

TEST_F(Connections, AReferenceCountsAUseToo) {
    uint32_t first = open_server("SRV1");
    EXPECT_EQ(first, open_reference(default_reference()));
    EXPECT_EQ(ZK_OK, ZKCCCloseConn(first));
    EXPECT_EQ(ZK_OK, ZKCCCloseConn(first));
    EXPECT_EQ(ZKE_CONN_INVALID, ZKCCCloseConn(first));
}

TEST_F(Connections, TheDefaultTreesServersComeFirst) {
    for (const char *tree : {"a", "b"})
        folder.write(tree + std::string(".ldif"), "dn: cn=SRV\nobjectClass: qrtServer\ncn: SRV\n");
    configure(
        "default_tree = \"B\"\n[[tree]]\nname = \"A\"\nldif = \"a.ldif\"\n[[tree]]\nname = \"B\"\nldif = \"b.ldif\"\n");
    EXPECT_EQ("B_______________________________", text_info(open_server("SRV"), ZK_INFO_TREE_NAME));
}

TEST_F(Connections, CountingForFileAccessNests) {
    uint32_t connection = open_server("SRV1");
    EXPECT_EQ(0u, number_info(connection, ZK_INFO_COUNTED_STATE));
    EXPECT_EQ(ZK_OK, ZKCCLicenseConn(connection));
    EXPECT_EQ(ZK_OK, ZKCCLicenseConn(connection));
    EXPECT_EQ(1u, number_info(connection, ZK_INFO_COUNTED_STATE));
    EXPECT_EQ(ZK_OK, ZKCCUnlicenseConn(connection));
    EXPECT_EQ(1u, number_info(connection, ZK_INFO_COUNTED_STATE));
    EXPECT_EQ(ZK_OK, ZKCCUnlicenseConn(connection));
    EXPECT_EQ(0u, number_info(connection, ZK_INFO_COUNTED_STATE));
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKCCUnlicenseConn(connection));
}

TEST_F(Connections, TheSlotsAreLimited) {
    std::string toml;
    for (size_t i = 0; i <= connection_limit; i++) toml += "[[server]]\nname = \"S" + std::to_string(i) + "\"\n";
    configure(toml);
    uint32_t last = 0;
    for (size_t i = 0; i < connection_limit; i++) {
        last = open_server(("S" + std::to_string(i)).c_str());
        ASSERT_EQ(ZK_OK, lastCode) << i;
    }
    std::string further = "S" + std::to_string(connection_limit);
    open_server(further.c_str());
    EXPECT_EQ(ZKE_SERVER_NO_SLOTS, lastCode);
    open_server("S0");
    EXPECT_EQ(ZK_OK, lastCode) << "an open one needs no slot";
    EXPECT_EQ(ZK_OK, ZKCCCloseConn(last));
    open_server(further.c_str());
    EXPECT_EQ(ZK_OK, lastCode);
}

TEST_F(Connections, ATreeWithoutAServerStillReturnsItsName) {
    folder.write("acme.ldif", "dn: o=acme\nobjectClass: organization\no: acme\n");
    configure("[[tree]]\nname = \"Acme\"\nldif = \"acme.ldif\"\n");
    uint32_t connection = open_server("ACME");
    EXPECT_EQ("Acme____________________________", text_info(connection, ZK_INFO_TREE_NAME));
    EXPECT_EQ("?", text_info(connection, ZK_INFO_SERVER_NAME));
    EXPECT_EQ(ZKE_SERVER_NOT_FOUND, lastCode);
    EXPECT_EQ(ZKE_NO_SUCH_ENTRY, ZKLoginToFileServer(connection, "jdoe", 256, "x"));
}

// Other programs may have kept the number: it is the same in every process and version.
TEST(UserNumbers, AreTheUidNumberOrElseMadeOfTheNameAndNeverZero) {
    const struct {
        Name name;
        const char *uidNumber;
        uint32_t number;
    } cases[] = {
        {{{"cn", "jdoe"}, {"ou", "sales"}, {"o", "acme"}}, nullptr, 1890417169},
        {{{"cn", "JDoe"}, {"ou", "Sales"}, {"o", "acme"}}, nullptr, 1890417169},
        {{{"cn", "jdoe"}}, nullptr, 1726739937}, // of 0xE6EBF421 without its sign
        {{{"cn", "ppkttia"}}, nullptr, 1},       // would be 0
        {{{"cn", "jdoe"}}, "1", 1},
        {{{"cn", "jdoe"}}, "2147483647", 2147483647},
        {{{"cn", "jdoe"}}, "0", 1726739937},
        {{{"cn", "jdoe"}}, "-7", 1726739937},
    };
    for (const auto &one : cases) {
        Entry user;
        user.name = one.name;
        if (one.uidNumber != nullptr) user.values.push_back({schema_find_ldap("uidNumber"), one.uidNumber});
        EXPECT_EQ(one.number, connection_user_number(user)) << name_to_dotted(one.name, true);
    }
}

TEST_F(Connections, AUserNumberIsMadeOfTheNameWhereNoneIsKept) {
    ASSERT_EQ(ZK_OK, login(context(), "jdoe.sales.acme", "secret"));
    uint32_t number = number_info(open_server("SRV1"), ZK_INFO_USER_NUMBER);
    EXPECT_EQ(1890417169u, number) << "with all its bytes";
    ASSERT_EQ(ZK_OK, ZKDSLogout(context()));
    ASSERT_EQ(ZK_OK, login(context(), "JDOE.trade.acme", "secret"));
    EXPECT_EQ(number, number_info(open_server("SRV1"), ZK_INFO_USER_NUMBER));
}

} // namespace
