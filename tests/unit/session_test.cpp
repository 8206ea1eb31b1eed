#include "directory/session.h"

#include <climits>

#include "tests/unit/session_fixture.h"

namespace {

using StateTest = SessionTest;

TEST_F(StateTest, ConstantsHaveTheirValues) {
    EXPECT_STREQ(libtreeloginLocation, "/opt/brasca/lib64/libtreelogin.so");
    EXPECT_STREQ(hostResName, "Host Resource Name");
    EXPECT_STREQ(pathStr, "Path");
    EXPECT_STREQ(LoginAliasContext, "N");
    EXPECT_EQ(sizeof libtreeloginLocation, 40U);
    EXPECT_EQ(sizeof hostResName, 19U);
    EXPECT_EQ(sizeof pathStr, 5U);
    EXPECT_EQ(sizeof LoginAliasContext, 2U);
    EXPECT_EQ(attachedCount, 0);
}

TEST_F(StateTest, GettersLendTheGlobals) {
    EXPECT_EQ(qrt_GetCurrentContext(), nullptr);
    EXPECT_EQ(qrt_GetInitialContext(), nullptr);
    EXPECT_EQ(qrt_GetObject(), nullptr);
    EXPECT_EQ(qrt_GetCurrentTree(), nullptr);
    EXPECT_EQ(qrt_GetServer(), nullptr);
    qrt_SetCurrentContext(text("O=acme").get());
    qrt_SetInitialContext(".O=acme");
    qrt_SetCurrentObject("jdoe");
    set(CurrentTree, "ACME_TREE");
    EXPECT_EQ(qrt_GetCurrentContext(), CurrentContext);
    EXPECT_EQ(qrt_GetInitialContext(), InitialContext);
    EXPECT_EQ(qrt_GetObject(), CurrentObject);
    EXPECT_EQ(qrt_GetCurrentTree(), CurrentTree);
    qrt_SetUserVar(0, "SRV1");
    const OwnedText server(qrt_GetServer());
    EXPECT_STREQ(server.get(), "SRV1");
    EXPECT_NE(server.get(), uservars[0]);
}

TEST_F(StateTest, SettersReplaceAndReturnTheStoredCopy) {
    const char *name = "jdoe";
    char *stored = qrt_SetCurrentObject(name);
    EXPECT_EQ(stored, CurrentObject);
    EXPECT_NE(stored, name);
    EXPECT_STREQ(stored, "jdoe");
    EXPECT_STREQ(qrt_SetCurrentObject("bob"), "bob");
    EXPECT_STREQ(CurrentObject, "bob");
    stored = qrt_SetLoginName(name);
    EXPECT_EQ(stored, LoginName);
    EXPECT_STREQ(stored, "jdoe");
    EXPECT_STREQ(qrt_SetLoginName("bob"), "bob");
    EXPECT_STREQ(LoginName, "bob");
    qrt_SetCurrentObject("jdoe");
    EXPECT_STREQ(qrt_SetCurrentObject(CurrentObject), "jdoe");
}

TEST_F(StateTest, TheInitialContextKeepsItsPreviousValueAllocated) {
    const OwnedText first(qrt_SetInitialContext("O=a"));
    EXPECT_EQ(qrt_SetInitialContext("O=b"), InitialContext);
    EXPECT_STREQ(InitialContext, "O=b");
    EXPECT_STREQ(first.get(), "O=a");
}

TEST_F(StateTest, SettersAndGettersTrace) {
    const auto all = [] {
        qrt_SetCurrentObject("jdoe");
        qrt_SetLoginName("joe");
        free(qrt_SetInitialContext(".O=i"));
        InitialContext = nullptr;
        qrt_SetCurrentContext(text("O=c").get());
        set(CurrentTree, "ACME_TREE");
        qrt_GetCurrentTree();
        qrt_SetUserVar(3, "x");
        free(qrt_Object());
    };
    expect_traces({"entering qrt_SetCurrentObject(jdoe)", "entering qrt_SetLoginName(joe)",
                   "entering qrt_SetInitialContext(.O=i)", "entering qrt_SetCurrentContext(O=c)",
                   "qrt_GetCurrentTree returned (ACME_TREE)", "uservars:3,  x", "qrt_Object: jdoe.O=c"},
                  all);
    expect_traces({"qrt_Object: jdoe"}, [] { free(qrt_LoggedInObject()); });
    EXPECT_THAT(traces(8, [] { qrt_SetLoginName("joe"); }), HasSubstr("--DEBUG--qrt_SetLoginName:"));
}

TEST_F(StateTest, TheCurrentContextIsStoredWithItsPeriodAndShownWithout) {
    const struct {
        const char *given, *stored, *printed;
    } rows[] = {
        {"OU=sales.O=acme", ".OU=sales.O=acme", "Your current context is: OU=sales.O=acme\n"},
        {".O=acme", ".O=acme", "Your current context is: O=acme\n"},
        {"acme", ".acme", "Your current context is: acme\n"},
        {"..x", "..x", "Your current context is: .x\n"},
        {".", ".", "Your current context is: \n"},
        {"", "", "Your current context is: \n"},
        {"a%sb%n", ".a%sb%n", "Your current context is: a%sb%n\n"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.given);
        EXPECT_EQ(qrt_SetCurrentContext(text(row.given).get()), 0);
        EXPECT_STREQ(CurrentContext, row.stored);
        EXPECT_EQ(output(), row.printed);
    }
}

TEST_F(StateTest, TheCurrentContextTakesItselfAndReturnsTheResultOfFlushing) {
    qrt_SetCurrentContext(text("O=acme").get());
    qrt_SetCurrentContext(CurrentContext);
    EXPECT_STREQ(CurrentContext, ".O=acme");
    FILE *full = fopen("/dev/full", "w");
    ASSERT_NE(full, nullptr);
    fdr = full;
    EXPECT_EQ(qrt_SetCurrentContext(text("O=acme").get()), EOF);
    EXPECT_STREQ(CurrentContext, ".O=acme");
    fdr = stream_;
    fclose(full);
}

TEST_F(StateTest, UserVariablesAreSetAndEmptied) {
    for (int index = 0; index < QRT_USER_VARIABLES; index++) qrt_SetUserVar(index, std::to_string(index).c_str());
    EXPECT_EQ(variables(), "0123456789");
    qrt_SetUserVar(3, "x");
    EXPECT_EQ(variables(), "012x456789");
    EXPECT_EQ(trace_texts(9, [] { qrt_SetUserVar(3, nullptr); }), std::vector<std::string>());
    EXPECT_EQ(uservars[3], nullptr);
    for (const int index : {10, -1, INT_MAX, INT_MIN}) qrt_SetUserVar(index, "x");
    EXPECT_EQ(variables(), "012-456789");
}

// %0 to %9 are 0 1 a b c d e f 8 z before each.
TEST_F(StateTest, ShiftRotatesItsNarrowRange) {
    const struct {
        int count;
        const char *after;
    } rows[] = {
        {1, "01bcdeff8a"},  {2, "01cdefff8b"},  {3, "01deffff8c"},   {5, "01ffffff8e"},
        {6, "01ffffff8f"},  {7, "01ffffff8f"},  {100, "01ffffff8f"}, {INT_MAX, "01ffffff8f"},
        {-7, "01bcdeff8a"}, {-5, "01deffff8c"}, {-3, "01ffffff8e"},  {-1, "01ffffff8f"},
        {0, "01abcdef8z"},  {-8, "01abcdef8z"}, {-9, "01abcdef8z"},  {INT_MIN, "01abcdef8z"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.count);
        const std::string before = "01abcdef8z";
        for (int index = 0; index < QRT_USER_VARIABLES; index++) {
            qrt_SetUserVar(index, before.substr(static_cast<size_t>(index), 1).c_str());
        }
        qrt_ShiftVars(row.count);
        EXPECT_EQ(variables(), row.after);
    }
}

TEST_F(StateTest, ShiftKeepsEmptyVariablesEmpty) {
    qrt_SetUserVar(3, "b");
    qrt_ShiftVars(1);
    EXPECT_EQ(variables(), "--b-------");
    qrt_ShiftVars(1);
    EXPECT_EQ(variables(), "---------b");
    qrt_SetUserVar(7, "f");
    qrt_ShiftVars(1);
    qrt_SetUserVar(6, "x");
    EXPECT_EQ(variables(), "------xf--");
}

TEST_F(StateTest, ObjectsAreNamedInTheirContexts) {
    const auto names = [] { return taken(qrt_Object()) + " " + taken(qrt_LoggedInObject()); };
    EXPECT_EQ(names(), "(null) (null)");
    qrt_SetCurrentObject("jdoe");
    EXPECT_EQ(names(), "jdoe jdoe");
    qrt_SetCurrentContext(text(".O=acme").get());
    qrt_SetInitialContext(".OU=sales.O=acme");
    EXPECT_EQ(names(), "jdoe.O=acme jdoe.OU=sales.O=acme");
    qrt_SetCurrentObject(nullptr);
    EXPECT_EQ(names(), "(null) (null)") << "contexts alone are none";
}

TEST_F(StateTest, APauseAsksOnlyInWindows) {
    spy::pause_answer(5);
    EXPECT_EQ(qrt_getPauseResponse(), 0);
    EXPECT_THAT(spy::calls(), IsEmpty());
    g_useGUI = -1;
    spy::pause_answer(5);
    EXPECT_EQ(qrt_getPauseResponse(), 5);
    EXPECT_EQ(spy::calls(), std::vector<std::string>{"auxpause_script()"});
}

TEST_F(StateTest, TheLoginQuestionIsAnsweredByTheClientUnchanged) {
    EXPECT_EQ(qrt_CheckIfLoggedIn(12), 0U);
    spy::logged_in("jdoe.acme");
    EXPECT_EQ(qrt_CheckIfLoggedIn(12), 1U);
    spy::fail("ZKDSCanDSAuthenticate", 0xFFFFFEB8);
    EXPECT_EQ(qrt_CheckIfLoggedIn(12), 0xFFFFFEB8U);
    EXPECT_EQ(spy::calls()[0], "ZKDSCanDSAuthenticate(12)");
}

// Both buffers are on the heap and exactly as large as needed, so that the sanitizer sees a step beyond.
class AbbreviateTest : public SessionTest {
  protected:
    static std::string abbreviated(const std::string &name, int limit) {
        const OwnedText in = text_copy(name);
        std::vector<char> out(static_cast<size_t>(limit > 0 ? limit : 0) + 1, '#');
        const int count = qrt_abbrivateName(in.get(), out.data(), limit);
        EXPECT_EQ(count, static_cast<int>(strlen(out.data())));
        return out.data();
    }
};

TEST_F(AbbreviateTest, ShortTypesAfterAPeriodAreDropped) {
    const struct {
        const char *name, *shortened;
    } rows[] = {
        {".O=acme", ".acme"},
        {".OU=sales", ".sales"},
        {".OU=sales.O=acme", ".sales.acme"},
        {"CN=jdoe.OU=sales.O=acme", "CN=jdoe.sales.acme"},
        {"O=acme", "O=acme"},
        {"jdoe.sales.acme", "jdoe.sales.acme"},
        {".DNS=acme", ".DNS=acme"},
        {"a..O=b", "a.b"},
        {"", ""},
        {".", "."},
        {"a.", "a."},
        {".O", ".O"},
        {".O=", "."},
        {".OU=", "."},
        {".=", ".="},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(abbreviated(row.name, 256), row.shortened);
    }
    EXPECT_EQ(abbreviated(".O=ab=c", 256), ".c");
    EXPECT_EQ(abbreviated(".O=a=b", 256), ".a=b");
    EXPECT_EQ(abbreviated(".O=ab", 256), ".ab");
}

TEST_F(AbbreviateTest, TheLimitCountsWhatIsRead) {
    const struct {
        int limit;
        const char *shortened;
    } rows[] = {{-1, ""}, {0, ""}, {1, "."}, {2, ".O"}, {3, ".O="}, {4, ".a"}, {5, ".ac"}, {7, ".acme"}, {8, ".acme"}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.limit);
        EXPECT_EQ(abbreviated(".O=acme", row.limit), row.shortened);
    }
}

} // namespace
