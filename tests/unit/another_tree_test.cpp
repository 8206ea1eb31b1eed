// TREE: what is used as it stands, and what goes on although a call has failed. The statement's way step by step is in
// current_tree_test.
#include "directory/tree_login.h"
#include "tests/unit/session_fixture.h"

namespace {

// jdoe of .sales.acme has a session with ACME_TREE on context 77 and the password "kept".
class AnotherTreeTest : public SessionTest {
  protected:
    AnotherTreeTest() {
        spy::tree("ACME_TREE", "SRV1");
        spy::tree("OTHER_TREE", "SRV2");
        qrt_SetCurrentObject("jdoe");
        session_replace(CurrentContext, ".sales.acme");
        session_replace(CurrentTree, "ACME_TREE");
        session_replace(CurrentPassword, "kept");
        ctx = handle;
        setenv("TREE_LOGIN_TEST", "replaced", 1);
    }
    static void tree(const char *user = nullptr, const char *password = nullptr) {
        std::string given = password ? password : "";
        doTreeLogin("OTHER_TREE", user, password ? given.data() : nullptr);
    }
    static std::vector<std::string> logins() {
        std::vector<std::string> found;
        for (const std::string &call : spy::calls("ZKDSLoginEx")) found.push_back(call.substr(call.find(' ') + 1));
        return found;
    }
};

TEST_F(AnotherTreeTest, TheSessionsPasswordIsUsedAsItStands) {
    session_replace(CurrentPassword, "a%<TREE_LOGIN_TEST>b");
    tree("bob.org");
    EXPECT_THAT(logins(), ElementsAre("\"bob.org\", 2, \"a%<TREE_LOGIN_TEST>b\")"));
    EXPECT_STREQ(CurrentPassword, "a%<TREE_LOGIN_TEST>b");
}

TEST_F(AnotherTreeTest, TheSessionsNameIsUsedAsItStands) {
    qrt_SetCurrentObject("%<TREE_LOGIN_TEST>");
    tree();
    qrt_SetCurrentObject(".jdoe.east");
    spy::logged_in_to("OTHER_TREE", "");
    tree();
    EXPECT_THAT(logins(),
                ElementsAre("\"%<TREE_LOGIN_TEST>.sales.acme\", 2, \"kept\")", "\".jdoe.east\", 2, \"kept\")"));
}

TEST_F(AnotherTreeTest, ALogOutThatFailsDoesNotKeepTheLoginBack) {
    spy::logged_in_to("OTHER_TREE", "admin.org");
    spy::fail("ZKDSLogout", 0xAB12);
    tree("bob.org", "given");
    EXPECT_THAT(logins(), ElementsAre("\"bob.org\", 2, \"given\")"));
    EXPECT_EQ(output(),
              "Already logged into Tree(OTHER_TREE) as admin.org\nYour current tree is: OTHER_TREE\n"
              "Your current context is: org\n");
    EXPECT_STREQ(CurrentTree, "OTHER_TREE");
}

TEST_F(AnotherTreeTest, AnIdentityThatCannotBeLoggedOutIsAskedAboutAgain) {
    spy::fail("ZKDSLogout", 0xAB12);
    spy::fail_nth("ZKDSLoginEx", 1, 0x8800);
    spy::fail_nth("ZKDSLoginEx", 2, 0x8800);
    spy::confirm_answer(4);
    spy::confirm_answer(4);
    spy::prompt_answer("ann.org", "first");
    spy::prompt_answer("carl.org", "second");
    tree("bob.org", "given");
    EXPECT_THAT(
        spy::calls("auxconfirm_g"),
        ElementsAre("auxconfirm_g(\"Already logged in to OTHER_TREE as bob.org, log out?\", \"question\", 1, 12)",
                    "auxconfirm_g(\"Already logged in to OTHER_TREE as ann.org, log out?\", \"question\", 1, 12)"));
    EXPECT_THAT(logins(), ElementsAre("\"bob.org\", 2, \"given\")", "\"ann.org\", 2, \"first\")",
                                      "\"carl.org\", 2, \"second\")"));
    EXPECT_STREQ(CurrentObject, "carl");
}

TEST_F(AnotherTreeTest, APromptThatIsCancelledAfterTheLogOutIsCode1) {
    spy::fail_nth("ZKDSLoginEx", 1, 0x8800);
    spy::confirm_answer(4);
    spy::prompt_cancel();
    tree("bob.org", "given");
    EXPECT_EQ(output(), "Could not Login into tree: OTHER_TREE 1\n");
    EXPECT_THAT(spy::calls("ZKDSLogout"), SizeIs(1));
    EXPECT_EQ(ctx, handle);
    EXPECT_STREQ(CurrentTree, "ACME_TREE");
}

TEST_F(AnotherTreeTest, AnAnswerOfThePromptThatIsNoRefusalIsCode1Too) {
    spy::account("bob.org", "right");
    spy::fail("auxlogin_c", 0x8800);
    tree("bob.org", "wrong");
    EXPECT_EQ(output(), "Could not Login into tree: OTHER_TREE 1\n");
    EXPECT_THAT(spy::calls("auxconfirm_g"), IsEmpty());
}

// A prompt that was answered and handed nothing over leaves no name to offer.
TEST_F(AnotherTreeTest, AMissingNameIsOfferedAsAPlaceholder) {
    spy::account("bob.org", "right");
    spy::fail_nth("auxlogin_c", 1, 0);
    spy::prompt_answer("bob.org", "right");
    tree("carl.org", "given");
    EXPECT_THAT(spy::calls("auxlogin_c"),
                ElementsAre("auxlogin_c(\"OTHER_TREE\", \"carl.org\")", "auxlogin_c(\"OTHER_TREE\", \"<username>\")"));
    EXPECT_THAT(logins(), ElementsAre("\"carl.org\", 2, \"given\")", "null, 2, null)", "\"bob.org\", 2, \"right\")"));
    EXPECT_STREQ(CurrentObject, "bob");
}

TEST_F(AnotherTreeTest, TheNameIsSplitAtItsFirstPeriodBehindTheFirstCharacter) {
    const struct {
        const char *name, *object, *context;
    } rows[] = {{"b.org.world", "b", ".org.world"}, {"bob..org", "bob", ".org"}, {"bob.", "bob", ""}};
    for (const auto &row : rows) {
        spy::logged_in_to("OTHER_TREE", "");
        tree(row.name, "given");
        EXPECT_STREQ(CurrentObject, row.object) << row.name;
        EXPECT_STREQ(CurrentContext, row.context) << row.name;
    }
}

TEST_F(AnotherTreeTest, TheCodeOfALoginIsTracedInHexadecimal) {
    spy::account("bob.org", "right");
    EXPECT_THAT(trace_texts(3, [] { tree("bob.org", "wrong"); }), Contains("Tree login return code 0xFFFFE001"));
}

} // namespace
