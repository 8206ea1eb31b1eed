#include "platform/client/session/connections.h"
#include "tests/support/client_fixture.h"

namespace {

using Contexts = ClientTest;

std::string text_of(uint32_t handle, int key) {
    char text[ZK_MAX_NAME + 1] = "?";
    uint32_t code = ZKDSGetContext(handle, key, text);
    return code == ZK_OK ? text : "failed";
}

TEST_F(Contexts, AFreshContextIsAtTheRootOfTheDefaultTree) {
    uint32_t handle = 0;
    ASSERT_EQ(ZK_OK, ZKDSCreateContextHandle(&handle));
    uint32_t flags = 0;
    EXPECT_EQ(ZK_OK, ZKDSGetContext(handle, DCK_FLAGS, &flags));
    EXPECT_EQ(0x13u, flags);
    EXPECT_EQ("", text_of(handle, DCK_NAME_CONTEXT));
    EXPECT_EQ("ACME", text_of(handle, DCK_TREE_NAME));
    uint32_t connection = 0;
    EXPECT_EQ(ZKE_CONN_INVALID, ZKDSGetContext(handle, DCK_LAST_CONNECTION, &connection));
    EXPECT_EQ(ZK_OK, ZKDSFreeContext(handle));
}

TEST_F(Contexts, WhatIsSetIsHandedOut) {
    uint32_t handle = context();
    uint32_t flags = 0;
    EXPECT_EQ(ZK_OK, ZKDSGetContext(handle, DCK_FLAGS, &flags));
    EXPECT_EQ(session_flags, flags);
    EXPECT_EQ(ZK_OK, ZKDSSetContext(handle, DCK_NAME_CONTEXT, ".OU=sales.acme"));
    EXPECT_EQ("sales.acme", text_of(handle, DCK_NAME_CONTEXT));
    EXPECT_EQ(ZK_OK, ZKDSSetContext(handle, DCK_NAME_CONTEXT, "[Root]"));
    EXPECT_EQ("", text_of(handle, DCK_NAME_CONTEXT));
    EXPECT_EQ(ZK_OK, ZKDSSetContext(handle, DCK_NAME_CONTEXT, ""));
    EXPECT_EQ(ZK_OK, ZKDSSetContext(handle, DCK_TREE_NAME, "branch_tree"));
    EXPECT_EQ("BRANCH_TREE", text_of(handle, DCK_TREE_NAME)) << "the tree's own spelling, unpadded";
    EXPECT_EQ(ZK_OK, ZKDSSetContext(handle, DCK_TREE_NAME, "ACME____________________________"));
    EXPECT_EQ("ACME", text_of(handle, DCK_TREE_NAME));
}

TEST_F(Contexts, WhatIsWrongIsRefusedAndChangesNothing) {
    uint32_t handle = context();
    uint32_t flags = 0x1000;
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKDSSetContext(handle, DCK_FLAGS, &flags));
    EXPECT_EQ(ZKE_TREE_NOT_FOUND, ZKDSSetContext(handle, DCK_TREE_NAME, "NOWHERE"));
    EXPECT_EQ(ZKE_MALFORMED_NAME, ZKDSSetContext(handle, DCK_NAME_CONTEXT, "a..b"));
    uint32_t connection = 99;
    EXPECT_EQ(ZKE_CONN_INVALID, ZKDSSetContext(handle, DCK_LAST_CONNECTION, &connection));
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKDSSetContext(handle, 2, "x"));
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKDSGetContext(handle, 2, &flags));
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKDSGetContext(handle, DCK_FLAGS, nullptr));
    EXPECT_EQ("ACME", text_of(handle, DCK_TREE_NAME));
    EXPECT_EQ("", text_of(handle, DCK_NAME_CONTEXT));
}

TEST_F(Contexts, EveryKnownFlagIsTakenAndNoOther) {
    uint32_t handle = context();
    for (uint32_t bit = 1; bit != 0; bit <<= 1) {
        const bool known = (bit & 0x57) != 0;
        EXPECT_EQ(known ? ZK_OK : ZKE_BAD_PARAMETER, ZKDSSetContext(handle, DCK_FLAGS, &bit)) << bit;
    }
}

TEST_F(Contexts, NumbersAreTakenAndHandedOutWhole) {
    uint32_t handle = context(), connection = open_server("SRV1"), got = UINT32_MAX;
    const uint32_t far = connection | 0x01000000;
    EXPECT_EQ(ZKE_CONN_INVALID, ZKDSSetContext(handle, DCK_LAST_CONNECTION, &far));
    EXPECT_EQ(ZK_OK, ZKDSSetContext(handle, DCK_LAST_CONNECTION, &connection));
    EXPECT_EQ(ZK_OK, ZKDSGetContext(handle, DCK_LAST_CONNECTION, &got));
    EXPECT_EQ(connection, got);
    got = UINT32_MAX;
    EXPECT_EQ(ZK_OK, ZKDSGetContext(handle, DCK_FLAGS, &got));
    EXPECT_EQ(session_flags, got);
}

TEST_F(Contexts, AFreedHandleIsStale) {
    uint32_t handle = 0;
    ASSERT_EQ(ZK_OK, ZKDSCreateContextHandle(&handle));
    EXPECT_EQ(ZK_OK, ZKDSFreeContext(handle));
    EXPECT_EQ(ZKE_BAD_HANDLE, ZKDSFreeContext(handle));
    uint32_t flags = 0;
    EXPECT_EQ(ZKE_BAD_HANDLE, ZKDSGetContext(handle, DCK_FLAGS, &flags));
    EXPECT_EQ(ZKE_BAD_HANDLE, ZKDSSetContext(handle, DCK_FLAGS, &flags));
    EXPECT_EQ(0u, ZKDSCanDSAuthenticate(handle));
    EXPECT_EQ("", who_am_i(handle));
    EXPECT_EQ(ZKE_BAD_HANDLE, lastCode);
    uint32_t next = context();
    EXPECT_NE(handle, next) << "a handle is not used again";
}

TEST_F(Contexts, ThePreferredTreeIsMeantWhereNoneIsSet) {
    uint32_t handle = context();
    EXPECT_EQ(ZK_OK, ZKSetPreferredDSTree(11, "branch_tree and more"));
    EXPECT_EQ("BRANCH_TREE", text_of(handle, DCK_TREE_NAME));
    EXPECT_EQ(ZKE_TREE_NOT_FOUND, ZKSetPreferredDSTree(7, "NOWHERE"));
    EXPECT_EQ("BRANCH_TREE", text_of(handle, DCK_TREE_NAME));
}

TEST_F(Contexts, AReadKeepsWhichConnectionServedIt) {
    uint32_t handle = context();
    uint32_t connection = 0;
    EXPECT_EQ("User", base_class(handle, "jdoe.sales.acme"));
    ASSERT_EQ(ZK_OK, ZKDSGetContext(handle, DCK_LAST_CONNECTION, &connection));
    EXPECT_EQ("SRV1", text_info(connection, ZK_INFO_SERVER_NAME));
    uint32_t second = open_server("SRV2");
    EXPECT_EQ(ZK_OK, ZKDSSetContext(handle, DCK_LAST_CONNECTION, &second));
    EXPECT_EQ("User", base_class(handle, "jdoe.sales.acme"));
    ASSERT_EQ(ZK_OK, ZKDSGetContext(handle, DCK_LAST_CONNECTION, &connection));
    EXPECT_EQ(second, connection) << "a connection to the tree goes on serving";
    EXPECT_EQ(ZK_OK, ZKCCCloseConn(second));
    EXPECT_EQ("User", base_class(handle, "jdoe.sales.acme"));
    ASSERT_EQ(ZK_OK, ZKDSGetContext(handle, DCK_LAST_CONNECTION, &connection));
    EXPECT_EQ("SRV1", text_info(connection, ZK_INFO_SERVER_NAME));
}

TEST_F(Contexts, AReadNeedsNoFreeSlotForAConnection) {
    std::string toml = "[[tree]]\nname = \"ACME\"\nldif = \"" SOURCE_DIR "/tests/client/data/acme.ldif\"\n";
    for (size_t i = 0; i < connection_limit; i++) toml += "[[server]]\nname = \"S" + std::to_string(i) + "\"\n";
    configure(toml);
    for (size_t i = 0; i < connection_limit; i++) open_server(("S" + std::to_string(i)).c_str());
    ASSERT_EQ(ZK_OK, lastCode);
    uint32_t handle = context();
    EXPECT_EQ("User", base_class(handle, "jdoe.sales.acme"));
    uint32_t connection = 0;
    EXPECT_EQ(ZKE_CONN_INVALID, ZKDSGetContext(handle, DCK_LAST_CONNECTION, &connection));
}

} // namespace
