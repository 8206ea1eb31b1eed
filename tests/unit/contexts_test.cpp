#include "directory/contexts.h"

#include <algorithm>

#include "tests/unit/session_fixture.h"

namespace {

class ContextsTest : public DirectoryTest {
  protected:
    ContextsTest() { spy::tree("ACME_TREE", "SRV1"); }
    static std::string tree_of_context(uint32_t handle) {
        char name[64] = "";
        ZKDSGetContext(handle, DCK_TREE_NAME, name);
        return name;
    }
    uint32_t handle = 99;
};

TEST_F(ContextsTest, ContextIsBoundToItsTree) {
    EXPECT_EQ(qrt_Getctx("acme_tree", &handle), 0u);
    EXPECT_EQ(handle, 1u);
    EXPECT_THAT(
        spy::calls(),
        ElementsAre("ZKCallsInit(null, null)", "ZKCLXInit(null, null)", "ZKDSCreateContextHandle()",
                    "ZKDSSetContext(1, DCK_FLAGS, 0x57)", "ZKCCOpenConnByName(0, \"acme_tree\", 32768, 1, 32768)",
                    "ZKCCGetConnInfo(101, 4, 33)", "ZKDSSetContext(1, DCK_TREE_NAME, \"ACME_TREE\")"));
    EXPECT_EQ(tree_of_context(handle), "ACME_TREE");
}

TEST_F(ContextsTest, EnvironmentIsSetBeforeTheClientStarts) {
    std::string seen;
    spy::on_call([&seen](const std::string &) {
        if (seen.empty()) seen = getenv("TOLAN_USE_BRUNE") ? getenv("TOLAN_USE_BRUNE") : "(unset)";
    });
    qrt_Getctx("ACME_TREE", &handle);
    EXPECT_EQ(seen, "0");
    setenv("TOLAN_USE_BRUNE", "1", 1);
    qrt_Getctx("ACME_TREE", &handle);
    EXPECT_STREQ(getenv("TOLAN_USE_BRUNE"), "1") << "one that is set stays";
}

TEST_F(ContextsTest, ContextOfAnUnknownTreeIsHandedOutWithoutATree) {
    EXPECT_EQ(qrt_Getctx("NO_TREE", &handle), 0xFFFFFD42);
    EXPECT_EQ(handle, 1u);
    EXPECT_EQ(tree_of_context(handle), "");
    EXPECT_EQ(qrt_Getctx(nullptr, &handle), 0xFFFFFD42);
    EXPECT_EQ(handle, 2u);
}

TEST_F(ContextsTest, AFailedStepIsTheLastAndHandsOutNothing) {
    for (const auto &[call, occurrence] :
         {std::pair{"ZKCallsInit", 1}, std::pair{"ZKCLXInit", 1}, std::pair{"ZKDSCreateContextHandle", 1},
          std::pair{"ZKDSSetContext", 1}, std::pair{"ZKDSSetContext", 2}}) {
        SCOPED_TRACE(call + std::to_string(occurrence));
        spy::reset();
        spy::tree("ACME_TREE", "SRV1");
        spy::fail_nth(call, occurrence, 0xFFFFFD42);
        EXPECT_EQ(qrt_Getctx("ACME_TREE", &handle), 0xFFFFFD42);
        EXPECT_EQ(handle, 0u);
        EXPECT_EQ(spy::open_contexts(), 0);
        if (call == std::string("ZKCallsInit")) {
            EXPECT_THAT(spy::call_names(), ElementsAre("ZKCallsInit"));
        }
    }
}

TEST_F(ContextsTest, TreeNameIsSpelledAsTheNetworkDoes) {
    EXPECT_EQ(taken(qrt_GetTreeName("acme_tree")), "ACME_TREE");
    EXPECT_EQ(taken(qrt_GetTreeFromServer("srv1")), "ACME_TREE");
    EXPECT_THAT(spy::calls(),
                ElementsAre("ZKCCOpenConnByName(0, \"acme_tree\", 32768, 1, 32768)", "ZKCCGetConnInfo(101, 4, 33)",
                            "ZKCCOpenConnByName(0, \"srv1\", 32768, 1, 32768)", "ZKCCGetConnInfo(102, 4, 33)"));
}

TEST_F(ContextsTest, TreeNameIsNullForNothingAndForTheUnknown) {
    EXPECT_EQ(qrt_GetTreeName(nullptr), nullptr);
    EXPECT_EQ(qrt_GetTreeFromServer(nullptr), nullptr);
    EXPECT_THAT(spy::calls(), IsEmpty());
    EXPECT_EQ(qrt_GetTreeName("NO_TREE"), nullptr);
    EXPECT_EQ(qrt_GetTreeFromServer("SRV9"), nullptr);
    EXPECT_EQ(qrt_GetDefaultServerFromTree("NO_TREE"), nullptr);
    EXPECT_EQ(spy::call_names(), std::vector<std::string>(3, "ZKCCOpenConnByName")); // nothing is asked without one
    spy::fail("ZKCCGetConnInfo", ZKE_CONN_INVALID);
    EXPECT_EQ(qrt_GetTreeName("ACME_TREE"), nullptr);
    EXPECT_EQ(qrt_GetTreeFromServer("SRV1"), nullptr);
}

TEST_F(ContextsTest, TreeNamesLoseTheirPadding) {
    const std::pair<std::string, std::string> rows[] = {
        {"ACME_TREE" + std::string(23, '_') + '\0', "ACME_TREE"},
        {"ACME_" + std::string(27, '_') + '\0', "ACME"}, // its own "_" goes as well
        {std::string(32, 'X') + '\0', std::string(32, 'X')},
        {"_" + std::string(31, 'X') + '\0', "_" + std::string(31, 'X')},
        {std::string("SHORT_\0", 7), "SHORT_"}, // unpadded: kept
        {std::string(32, '_') + '\0', ""},
        {std::string(33, 'X'), std::string(32, 'X')}, // without its NUL
        {std::string(33, '_'), ""}};
    for (const auto &[answer, name] : rows) {
        spy::connection_answer(ZK_INFO_TREE_NAME, answer);
        EXPECT_EQ(taken(qrt_GetTreeName("ACME_TREE")), name);
    }
}

TEST_F(ContextsTest, DefaultServerOfATree) {
    EXPECT_EQ(taken(qrt_GetDefaultServerFromTree("acme_tree")), "SRV1");
    EXPECT_THAT(spy::calls(),
                ElementsAre("ZKCCOpenConnByName(0, \"acme_tree\", 32768, 1, 32768)", "ZKCCGetConnInfo(101, 7, 49)"));
    EXPECT_EQ(qrt_GetDefaultServerFromTree(nullptr), nullptr);
    EXPECT_EQ(qrt_GetDefaultServerFromTree("NO_TREE"), nullptr);
    spy::fail("ZKCCGetConnInfo", ZKE_CONN_INVALID);
    EXPECT_EQ(qrt_GetDefaultServerFromTree("ACME_TREE"), nullptr);
}

TEST_F(ContextsTest, ServerNameWithoutItsEndStopsWithItsField) {
    spy::connection_answer(ZK_INFO_SERVER_NAME, std::string(600, 'S'));
    EXPECT_EQ(taken(qrt_GetDefaultServerFromTree("ACME_TREE")), std::string(49, 'S'));
    set(CurrentTree, "ACME_TREE");
    EXPECT_EQ(taken(qrt_GetDefaultServer()), std::string(512, 'S'));
}

TEST_F(ContextsTest, DefaultServerIsTheCurrentTrees) {
    set(CurrentTree, "ACME_TREE");
    EXPECT_EQ(taken(qrt_GetDefaultServer()), "SRV1");
    EXPECT_THAT(spy::calls(),
                ElementsAre("ZKCCOpenConnByName(0, \"ACME_TREE\", 32768, 1, 32768)", "ZKCCGetConnInfo(101, 7, 512)"));
}

TEST_F(ContextsTest, DefaultServerWithoutATreeIsTheDefaultConnections) {
    spy::server("SRV2", "OTHER");
    spy::default_server("SRV2");
    EXPECT_EQ(taken(qrt_GetDefaultServer()), "SRV2");
    EXPECT_THAT(spy::calls(),
                ElementsAre("ZKGetDefaultConnRef()", "ZKCCOpenConnByRef(501, 9, 0)", "ZKCCGetConnInfo(101, 7, 512)"));
}

TEST_F(ContextsTest, DefaultServerIsNullWhenAStepFails) {
    EXPECT_EQ(qrt_GetDefaultServer(), nullptr); // no default connection
    spy::default_server("SRV1");
    spy::fail_nth("ZKCCOpenConnByRef", 1, ZKE_CONN_INVALID);
    EXPECT_EQ(qrt_GetDefaultServer(), nullptr);
    spy::fail_nth("ZKCCGetConnInfo", 1, ZKE_CONN_INVALID);
    EXPECT_EQ(qrt_GetDefaultServer(), nullptr);
    EXPECT_EQ(taken(qrt_GetDefaultServer()), "SRV1");
    set(CurrentTree, "NO_TREE"); // the default connection is then not asked
    EXPECT_EQ(qrt_GetDefaultServer(), nullptr);
}

TEST_F(ContextsTest, NumbersOfTheDefaultConnection) {
    spy::default_server("SRV1");
    spy::connection_number(12);
    spy::user_number(0x80000001);
    EXPECT_EQ(qrt_StationNumber(), 12u);
    EXPECT_EQ(qrt_UserID(), 0x80000001u);
    EXPECT_THAT(spy::calls(),
                ElementsAre("ZKGetDefaultConnRef()", "ZKCCOpenConnByRef(501, 9, 0)", "ZKCCGetConnInfo(101, 5, 4)",
                            "ZKGetDefaultConnRef()", "ZKCCOpenConnByRef(502, 9, 0)", "ZKCCGetConnInfo(102, 6, 4)"));
}

TEST_F(ContextsTest, NumbersWhenAStepFails) {
    spy::default_server("SRV1");
    for (const char *call : {"ZKGetDefaultConnRef", "ZKCCOpenConnByRef", "ZKCCGetConnInfo"}) {
        spy::mend();
        spy::fail(call, ZKE_CONN_INVALID);
        EXPECT_EQ(qrt_StationNumber(), 0xFFFFFFFF) << call;
        EXPECT_EQ(qrt_UserID(), 0u) << call;
    }
}

TEST_F(ContextsTest, AFailedStepOfTheDefaultConnectionIsTheLastAndIsTracedAlone) {
    const char *const steps[] = {"ZKGetDefaultConnRef", "ZKCCOpenConnByRef", "ZKCCGetConnInfo"};
    for (auto ask : {qrt_UserID, qrt_StationNumber}) {
        for (const char *failing : steps) {
            spy::reset();
            spy::tree("ACME_TREE", "SRV1");
            spy::default_server("SRV1");
            spy::fail(failing, 0xABC);
            const std::string traced = traces(9, ask);
            EXPECT_EQ(std::count(traced.begin(), traced.end(), '\n'), 1) << traced;
            EXPECT_THAT(traced, HasSubstr(std::string(failing) + "() returned abc"));
            EXPECT_EQ(spy::call_names().back(), failing);
        }
    }
}

// The levels are those of trace_table.h.
TEST_F(ContextsTest, TracesShowNamesCodesAndNumbers) {
    const auto make = [this] { qrt_Getctx("acme_tree", &handle); };
    EXPECT_THAT(traces(9, make),
                AllOf(HasSubstr("tree name=(ACME_TREE)"), HasSubstr("qrt_GetTreeName(acme_tree)"),
                      HasSubstr("ZKCCOpenConnByName returned 0x0"), HasSubstr("ZKCCGetConnInfo returned 0x0"),
                      HasSubstr("qrt_GetTreeName found tree (acme_tree)"),
                      HasSubstr("ZKDSSetContext(ctx, DCK_FLAGS, DCV_DEREF_ALIASES etc)  ccode: 0\n"),
                      HasSubstr("ZKDSSetContext(ctx, DCK_TREE_NAME, ACME_TREE)  ccode: 0\n")));
    const std::string unknown = traces(9, [this] { qrt_Getctx("NO_TREE", &handle); });
    EXPECT_THAT(unknown, AllOf(HasSubstr("Can not find tree named: \"NO_TREE\""),
                               HasSubstr("qrt_GetTreeName could NOT find tree."), Not(HasSubstr("found tree"))));
    spy::user_number(0xFFFFFFFE);
    spy::connection_number(0xFFFFFFFD);
    spy::default_server("SRV1");
    const auto ask = [] {
        qrt_UserID();
        qrt_StationNumber();
        for (char *name :
             {qrt_GetDefaultServer(), qrt_GetDefaultServerFromTree("ACME_TREE"), qrt_GetTreeFromServer("SRV1")})
            free(name);
    };
    EXPECT_THAT(traces(9, ask),
                AllOf(HasSubstr("UserID: -2\n"), HasSubstr("Connection Number: -3\n"),
                      HasSubstr("Default server is: SRV1"), HasSubstr("Default server for tree ACME_TREE, is: SRV1"),
                      HasSubstr("qrt_GetTreeFromServer(SRV1)"), Not(HasSubstr("Error"))));
}

TEST_F(ContextsTest, EachFailingStepIsTracedWithItsCode) {
    const auto make = [this] { qrt_Getctx("acme_tree", &handle); };
    const auto ask = [] { free(qrt_GetDefaultServer()); };
    const auto ask_tree = [] { free(qrt_GetDefaultServerFromTree("ACME_TREE")); };
    const struct {
        const char *call;
        int occurrence;
        std::function<void()> action;
        const char *tree, *text;
    } rows[] = {
        {"ZKDSCreateContextHandle", 1, make, nullptr, "ZKDSCreateContextHandle ccode: abcd\n"},
        {"ZKDSSetContext", 1, make, nullptr, "ZKDSSetContext (1) ccode: abcd\n"},
        {"ZKDSSetContext", 1, make, nullptr, "ZKDSSetContext(ctx, DCK_FLAGS, DCV_DEREF_ALIASES etc)  ccode: abcd\n"},
        {"ZKDSSetContext", 2, make, nullptr, "ZKDSSetContext: ccode: abcd\n"},
        {"ZKDSSetContext", 2, make, nullptr, "ZKDSSetContext(ctx, DCK_TREE_NAME, ACME_TREE)  ccode: abcd\n"},
        {"ZKCCOpenConnByName", 1, make, nullptr, "ZKCCOpenConnByName returned 0xABCD\n"},
        {"ZKCCGetConnInfo", 1, make, nullptr, "ZKCCGetConnInfo returned 0xABCD\n"},
        {"ZKCCGetConnInfo", 1, ask_tree, nullptr, "ZKCCGetConnInfo() returned abcd\n"},
        {"ZKGetDefaultConnRef", 1, ask, nullptr, "Error, ZKGetDefaultConnRef() returned abcd\n"},
        {"ZKCCOpenConnByRef", 1, ask, nullptr, "Error, ZKCCOpenConnByRef() returned abcd\n"},
        {"ZKCCGetConnInfo", 1, ask, nullptr, "Error, ZKCCGetConnInfo() returned abcd\n"},
        {"ZKCCOpenConnByName", 1, ask, "ACME_TREE", "Error, ZKCCOpenConnByName() returned abcd\n"},
    };
    for (const auto &row : rows) {
        spy::reset();
        spy::tree("ACME_TREE", "SRV1");
        spy::default_server("SRV1");
        set(CurrentTree, row.tree);
        spy::fail_nth(row.call, row.occurrence, 0xABCD);
        EXPECT_THAT(traces(9, row.action), HasSubstr(row.text));
    }
}

} // namespace
