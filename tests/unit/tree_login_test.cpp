#include "directory/tree_login.h"

#include "tests/unit/session_fixture.h"

namespace {

class TreeTest : public SessionTest {
  protected:
    TreeTest() {
        spy::tree("ACME_TREE", "SRV1");
        spy::tree("OTHER_TREE", "SRV2");
    }
};

class LoginTest : public TreeTest {
  protected:
    uint32_t login(const char *user = "jdoe.acme", const char *password = "secret") {
        made_ = 999;
        return qrt_TreeLogin("ACME_TREE", text(user).get(), text(password).get(), &made_);
    }
    uint32_t made_ = 0;
};

TEST_F(LoginTest, ALoginMakesAContext) {
    EXPECT_EQ(login(), 0U);
    EXPECT_EQ(made_, 1U);
    EXPECT_THAT(spy::calls(),
                ElementsAre("ZKCallsInit(null, null)", "ZKCLXInit(null, null)", "ZKDSCreateContextHandle()",
                            "ZKDSSetContext(1, DCK_FLAGS, 0x57)", "ZKDSSetContext(1, DCK_TREE_NAME, \"ACME_TREE\")",
                            "ZKDSLoginEx(1, \"jdoe.acme\", 2, \"secret\")"));
    EXPECT_STREQ(getenv("TOLAN_USE_BRUNE"), "0");
    EXPECT_EQ(output(), "");
}

TEST_F(LoginTest, EachFailureIsTheClientsCode) {
    const struct {
        const char *call;
        int occurrence, contexts;
        std::vector<std::string> traces;
    } rows[] = {
        {"ZKCallsInit", 1, 0, {}},
        {"ZKCLXInit", 1, 0, {}},
        {"ZKDSCreateContextHandle", 1, 0, {"ZKDSCreateContextHandle ccode: 0xAB12"}},
        {"ZKDSSetContext", 1, 1, {"ZKDSSetContext (1) ccode: 0xAB12"}},
        {"ZKDSSetContext", 2, 1, {"ZKDSSetContext: ccode: 0xAB12"}},
        {"ZKDSLoginEx", 1, 1, {"ZKDSLoginEx() returned 0xab12"}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.call) + " " + std::to_string(row.occurrence));
        const auto failing = [&] {
            spy::reset();
            spy::fail_nth(row.call, row.occurrence, 0xAB12);
            EXPECT_EQ(login(), 0xAB12U);
        };
        failing();
        EXPECT_EQ(made_, 0U);
        EXPECT_EQ(spy::call_names().back(), row.call);
        EXPECT_EQ(spy::open_contexts(), row.contexts) << "a handle that was made is not freed";
        expect_traces(row.traces, failing);
    }
}

TEST_F(LoginTest, TheEnvironmentIsSetBeforeTheClientStartsAndNotOverwritten) {
    std::string seen;
    spy::on_call([&seen](const std::string &call) {
        if (call == "ZKCallsInit(null, null)") seen += shown(getenv("TOLAN_USE_BRUNE"));
    });
    login();
    unsetenv("TOLAN_USE_BRUNE");
    qrt_TreeLogout("ACME_TREE");
    EXPECT_EQ(seen, "00");
    setenv("TOLAN_USE_BRUNE", "1", 1);
    login();
    qrt_TreeLogout("ACME_TREE");
    EXPECT_STREQ(getenv("TOLAN_USE_BRUNE"), "1");
}

TEST_F(LoginTest, ALoginIsTracedWithoutItsPassword) {
    expect_traces({"TreeLogin(ACME_TREE, jdoe.acme)", "logged into tree [ACME_TREE]"}, [this] { login(); });
    EXPECT_THAT(traces(9, [this] { login(); }), Not(HasSubstr("secret")));
    const auto nobody = [this] { EXPECT_EQ(qrt_TreeLogin(nullptr, nullptr, nullptr, &made_), ZKE_TREE_NOT_FOUND); };
    expect_traces({"TreeLogin(, )"}, nobody);
}

TEST_F(TreeTest, ALogOutSetsNoFlagsAndKeepsItsHandle) {
    EXPECT_EQ(qrt_TreeLogout("ACME_TREE"), 0U);
    EXPECT_THAT(spy::calls(),
                ElementsAre("ZKCallsInit(null, null)", "ZKCLXInit(null, null)", "ZKDSCreateContextHandle()",
                            "ZKDSSetContext(1, DCK_TREE_NAME, \"ACME_TREE\")", "ZKDSLogout(1)"));
    EXPECT_EQ(spy::open_contexts(), 1);
    EXPECT_STREQ(getenv("TOLAN_USE_BRUNE"), "0");
    expect_traces({"logged out of tree ACME_TREE"}, [] { qrt_TreeLogout("ACME_TREE"); });
}

TEST_F(TreeTest, EachFailureOfALogOutIsTheClientsCode) {
    const struct {
        const char *call;
        std::vector<std::string> traces;
    } rows[] = {
        {"ZKCallsInit", {}},
        {"ZKCLXInit", {}},
        {"ZKDSCreateContextHandle", {"ZKDSCreateContextHandle ccode: ab12"}},
        {"ZKDSSetContext", {"ZKDSSetContext: ccode: ab12"}},
        {"ZKDSLogout", {"ZKDSLogout(tree=ACME_TREE) returned 0xab12"}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.call);
        spy::reset();
        spy::fail(row.call, 0xAB12);
        expect_traces(row.traces, [] { EXPECT_EQ(qrt_TreeLogout("ACME_TREE"), 0xAB12U); });
        EXPECT_EQ(spy::call_names().back(), row.call);
    }
}

class PromptTest : public SessionTest {
  protected:
    // The code, the name and the password of a prompt.
    static std::string ask(int gui) {
        char *user = nullptr, *password = nullptr;
        const uint32_t code = qrt_get_user_password(gui, "label", "name", &user, &password);
        return std::to_string(code) + " " + taken(user) + " " + taken(password);
    }
};

TEST_F(PromptTest, ATextPromptAsksOnTheTerminal) {
    spy::prompt_answer("jdoe", "secret");
    EXPECT_EQ(ask(0), "0 jdoe secret");
    EXPECT_THAT(spy::calls(), ElementsAre("auxlogin_c(\"label\", \"name\")"));
}

TEST_F(PromptTest, AGraphicalPromptIsPreparedFirst) {
    spy::prompt_answer("jdoe", "secret");
    EXPECT_EQ(ask(-1), "0 jdoe secret");
    EXPECT_THAT(spy::calls(), ElementsAre("auxinit_g()", "auxlogin_g(\"label\", \"name\")"));
}

TEST_F(PromptTest, ThePromptsResultIsReturned) {
    spy::fail("auxlogin_c", 7);
    spy::fail("auxlogin_g", 8);
    spy::fail("auxinit_g", 9);
    EXPECT_EQ(ask(0), "7 (null) (null)");
    EXPECT_EQ(ask(1), "8 (null) (null)");
}

TEST_F(PromptTest, PromptsAreTraced) {
    spy::fail("auxlogin_c", 0xAB);
    spy::fail("auxlogin_g", 0xAC);
    expect_traces({"Calling text based login query", "return value from login query= 0xAB",
                   "qrt_get_user_password return value=0xAB"},
                  [] { ask(0); });
    expect_traces({"Initalize graphical login query", "Calling graphical login query",
                   "return value from login query= 0xAC", "qrt_get_user_password return value=0xAC"},
                  [] { ask(1); });
}

} // namespace
