#include "directory/tree_login.h"

#include <set>

#include "tests/unit/session_fixture.h"

namespace {

class CurrentTreeTest : public SessionTest {
  protected:
    CurrentTreeTest() {
        spy::tree("ACME_TREE", "SRV1");
        spy::tree("OTHER_TREE", "SRV2");
    }
};

TEST_F(CurrentTreeTest, TheTreeIsSetAsTheNetworkSpellsIt) {
    qrt_SetTree("acme_tree");
    EXPECT_STREQ(CurrentTree, "ACME_TREE");
    EXPECT_EQ(output(), "Your current tree is: ACME_TREE\n");
    EXPECT_THAT(spy::calls(), ElementsAre("ZKCCOpenConnByName(0, \"acme_tree\", 32768, 1, 32768)",
                                          "ZKCCGetConnInfo(101, 4, 33)", "ZKSetPreferredDSTree(9, \"ACME_TREE\")"));
    qrt_SetTree("OTHER_TREE");
    EXPECT_STREQ(CurrentTree, "OTHER_TREE");
    qrt_SetTree("acme_tree");
    qrt_SetTree(CurrentTree);
    EXPECT_STREQ(CurrentTree, "ACME_TREE");
}

TEST_F(CurrentTreeTest, ATreeThatIsNotFoundKeepsItsSpelling) {
    qrt_SetTree("nowhere");
    EXPECT_STREQ(CurrentTree, "nowhere");
    EXPECT_EQ(output(), "Your current tree is: nowhere\n");
    EXPECT_THAT(spy::call_names(), ElementsAre("ZKCCOpenConnByName", "ZKSetPreferredDSTree"));
    spy::fail("ZKCCGetConnInfo", 0x8801);
    qrt_SetTree("acme_tree");
    EXPECT_STREQ(CurrentTree, "acme_tree");
    EXPECT_EQ(spy::calls().back(), "ZKSetPreferredDSTree(9, \"acme_tree\")");
}

TEST_F(CurrentTreeTest, ThePaddingIsStrippedButNeverTheFirstCharacter) {
    const struct {
        std::string answer, tree;
    } rows[] = {
        {std::string("T") + std::string(31, '_') + '\0', "T"}, {std::string(32, '_') + '\0', "_"},
        {std::string(32, 'T') + '\0', std::string(32, 'T')},   {std::string("T__\0", 4), "T"},
        {std::string(60, 'T'), std::string(32, 'T')},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.answer);
        spy::connection_answer(ZK_INFO_TREE_NAME, row.answer);
        qrt_SetTree("acme_tree");
        EXPECT_EQ(CurrentTree, row.tree);
    }
}

TEST_F(CurrentTreeTest, AnEmptyAnswerIsTheTreesName) {
    spy::connection_answer(ZK_INFO_TREE_NAME, std::string(33, '\0'));
    qrt_SetTree("acme_tree");
    EXPECT_STREQ(CurrentTree, "");
    EXPECT_EQ(output(), "Your current tree is: \n");
    EXPECT_EQ(spy::calls().back(), "ZKSetPreferredDSTree(0, \"\")");
}

TEST_F(CurrentTreeTest, ATreeThatCannotBePreferredIsReported) {
    spy::fail("ZKSetPreferredDSTree", 0xAB12);
    qrt_SetTree("acme_tree");
    EXPECT_EQ(output(), "Your current tree is: ACME_TREE\nError:(AB12) setting Tree:(ACME_TREE)\n");
}

TEST_F(CurrentTreeTest, SettingTheTreeIsTraced) {
    expect_traces({"entering qrt_SetTree(acme_tree)", "Set Preferred DS Tree(ACME_TREE) length:9"},
                  [] { qrt_SetTree("acme_tree"); });
}

// jdoe of .sales.acme has a session with ACME_TREE on context 77 and the password "kept".
class DoTreeLoginTest : public CurrentTreeTest {
  protected:
    DoTreeLoginTest() { start(); }
    static void start() {
        EXPECT_THAT(spy::mistakes(), IsEmpty());
        spy::reset();
        spy::tree("ACME_TREE", "SRV1");
        spy::tree("OTHER_TREE", "SRV2");
        qrt_SetCurrentObject("jdoe");
        session_replace(CurrentContext, ".sales.acme");
        session_replace(CurrentTree, "ACME_TREE");
        session_replace(CurrentPassword, "kept");
        ctx = handle;
    }
    void tree(const char *name, const char *user = nullptr, const char *password = nullptr) {
        password_ = password ? password : "";
        doTreeLogin(name, user, password ? password_.data() : nullptr);
    }

    // Who logged in with which password, one after the other.
    static std::vector<std::string> logins() {
        std::vector<std::string> found;
        for (const std::string &call : spy::calls("ZKDSLoginEx")) found.push_back(call.substr(call.find(' ') + 1));
        return found;
    }
    void expect_the_session_unchanged() {
        EXPECT_EQ(ctx, handle);
        EXPECT_STREQ(CurrentTree, "ACME_TREE");
        EXPECT_STREQ(CurrentContext, ".sales.acme");
        EXPECT_STREQ(CurrentObject, "jdoe");
        EXPECT_STREQ(CurrentPassword, "kept");
    }
    std::string password_; // the caller's
};

TEST_F(DoTreeLoginTest, InASkippedBranchItDoesNothing) {
    skip();
    EXPECT_EQ(traces(9, [this] { tree("OTHER_TREE", "bob.org", "given"); }), "");
    EXPECT_THAT(spy::calls(), IsEmpty());
    EXPECT_EQ(output(), "");
    expect_the_session_unchanged();
}

TEST_F(DoTreeLoginTest, ALoginMovesTheSession) {
    tree("OTHER_TREE", "bob.it.org", "given");
    EXPECT_THAT(logins(), ElementsAre("\"bob.it.org\", 2, \"given\")"));
    EXPECT_EQ(output(), "Your current tree is: OTHER_TREE\nYour current context is: it.org\n");
    EXPECT_STREQ(CurrentTree, "OTHER_TREE");
    EXPECT_STREQ(CurrentContext, ".it.org");
    EXPECT_STREQ(CurrentObject, "bob");
    EXPECT_NE(ctx, handle);
    EXPECT_EQ(spy::calls("ZKDSLoginEx")[0].substr(0, 14), "ZKDSLoginEx(" + std::to_string(ctx) + ",");
    EXPECT_THAT(spy::calls("ZKDSFreeContext"), ElementsAre("ZKDSFreeContext(77)", "ZKDSFreeContext(1)"))
        << "the old context, then the probe";
    EXPECT_EQ(spy::open_contexts(), 1);
}

TEST_F(DoTreeLoginTest, TheClientIsAskedInThisOrder) {
    tree("OTHER_TREE", "bob.org", "given");
    EXPECT_THAT(
        spy::call_names(),
        ElementsAre("ZKCallsInit", "ZKCLXInit", "ZKDSCreateContextHandle", "ZKDSSetContext", "ZKCCOpenConnByName",
                    "ZKCCGetConnInfo", "ZKDSSetContext", "ZKDSCanDSAuthenticate", "ZKCallsInit", "ZKCLXInit",
                    "ZKDSCreateContextHandle", "ZKDSSetContext", "ZKDSSetContext", "ZKDSLoginEx", "ZKCCOpenConnByName",
                    "ZKCCGetConnInfo", "ZKSetPreferredDSTree", "ZKDSFreeContext", "ZKDSFreeContext"));
}

TEST_F(DoTreeLoginTest, TheStepsOfEachWayComeInThisOrder) {
    const auto steps = [this](const std::function<void()> &prepare, const char *password = "given") {
        start();
        prepare();
        tree("OTHER_TREE", "bob.org", password);
        const std::set<std::string> parts = {"ZKCallsInit",    "ZKCLXInit",          "ZKDSCreateContextHandle",
                                             "ZKDSSetContext", "ZKCCOpenConnByName", "ZKCCGetConnInfo"};
        std::string names;
        for (const std::string &call : spy::calls())
            if (parts.count(call.substr(0, call.find('('))) == 0) names += call.substr(0, call.find(',')) + " ";
        return names;
    };
    const std::string probe = "ZKDSCanDSAuthenticate(1) ", set = "ZKSetPreferredDSTree(10 ";
    EXPECT_EQ(steps([] { spy::logged_in_to("OTHER_TREE", "bob.org"); }),
              probe + "ZKDSWhoAmI(1) " + set + "ZKDSFreeContext(1) ");
    EXPECT_EQ(steps([] { spy::logged_in_to("OTHER_TREE", "admin.org"); }),
              probe + "ZKDSWhoAmI(1) ZKDSLogout(2) ZKDSLoginEx(3 " + set + "ZKDSFreeContext(77) ZKDSFreeContext(1) ");
    const auto another_identity = [] {
        spy::fail_nth("ZKDSLoginEx", 1, 0x8800);
        spy::confirm_answer(4);
        spy::prompt_answer("ann.org", "typed");
    };
    EXPECT_EQ(steps(another_identity), probe +
                                           "ZKDSLoginEx(2 auxconfirm_g(\"Already logged in to OTHER_TREE as bob.org "
                                           "ZKDSLogout(3) auxlogin_c(\"OTHER_TREE\" ZKDSLoginEx(4 " +
                                           set + "ZKDSFreeContext(77) ZKDSFreeContext(1) ");
    const auto refused_in_windows = [] {
        g_useGUI = 1;
        spy::account("bob.org", "right");
    };
    EXPECT_EQ(steps(refused_in_windows, "wrong"),
              probe + "ZKDSLoginEx(2 auxinit_g() auxlogin_g(\"OTHER_TREE\" ZKDSFreeContext(1) ");
}

TEST_F(DoTreeLoginTest, AnUnknownTreeOrAFailedClientIsReported) {
    tree("NOWHERE", "bob.org", "given");
    EXPECT_EQ(output(), "Could not Login into tree: NOWHERE FFFFFD42\n");
    EXPECT_THAT(logins(), IsEmpty());
    expect_the_session_unchanged();
    EXPECT_EQ(spy::open_contexts(), 0) << "the probe is freed";
    start();
    spy::fail("ZKCLXInit", 0xAB12);
    tree("OTHER_TREE", "bob.org", "given");
    EXPECT_EQ(output(), "Could not Login into tree: OTHER_TREE AB12\n");
    EXPECT_THAT(spy::calls("ZKDSFreeContext"), IsEmpty());
}

TEST_F(DoTreeLoginTest, TheNameIsPrepared) {
    setenv("TREE_LOGIN_TEST", "carl.org", 1);
    const struct {
        const char *given, *used;
    } rows[] = {
        {"bob", "bob.sales.acme"},
        {"bob.org", "bob.org"},
        {".bob.org", "bob.org"},
        {".bob", "bob.sales.acme"},
        {".b", "b.sales.acme"},
        {"..bob", ".bob"},
        {".", "."},
        {"%<TREE_LOGIN_TEST>", "carl.org"},
        {".%<TREE_LOGIN_TEST>", "carl.org"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.given);
        start();
        tree("OTHER_TREE", row.given, "given");
        EXPECT_THAT(logins(), ElementsAre("\"" + std::string(row.used) + "\", 2, \"given\")"));
    }
    unsetenv("TREE_LOGIN_TEST");
}

TEST_F(DoTreeLoginTest, OnlyAPeriodBehindTheFirstCharacterSplitsTheName) {
    const struct {
        const char *name, *object, *context;
    } rows[] = {{"..bob", "jdoe", ".sales.acme"},
                {"..carl.org", ".carl", ".org"},
                {"b.org.world", "b", ".org.world"},
                {"bob..org", "bob", ".org"},
                {"bob.", "bob", ""}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        start();
        tree("OTHER_TREE", row.name, "given");
        EXPECT_STREQ(CurrentObject, row.object);
        EXPECT_STREQ(CurrentContext, row.context);
    }
}

TEST_F(DoTreeLoginTest, WithoutANameTheSessionsIsUsed) {
    const struct {
        const char *object, *context, *name, *used;
    } rows[] = {{"jdoe", ".sales.acme", nullptr, "jdoe.sales.acme"},
                {"jdoe.east.acme", ".sales.acme", nullptr, "jdoe.east.acme"},
                {".jdoe.east", ".sales.acme", nullptr, ".jdoe.east"},
                {"%<TREE_LOGIN_TEST>", ".sales.acme", nullptr, "%<TREE_LOGIN_TEST>.sales.acme"}, // as it stands
                {nullptr, ".sales.acme", nullptr, "<UserName>"},
                {"jdoe", nullptr, "bob", "bob"}}; // without a context the name stands alone
    setenv("TREE_LOGIN_TEST", "replaced", 1);
    for (const auto &row : rows) {
        start();
        session_replace(CurrentObject, row.object);
        session_replace(CurrentContext, row.context);
        tree("OTHER_TREE", row.name);
        EXPECT_THAT(logins(), ElementsAre("\"" + std::string(row.used) + "\", 2, \"kept\")"));
        if (row.object == nullptr || strchr(row.object, '.') == nullptr) {
            EXPECT_EQ(shown(CurrentObject), shown(row.object)) << "a name without a period changes neither";
            EXPECT_EQ(shown(CurrentContext), shown(row.context));
        }
    }
}

TEST_F(DoTreeLoginTest, WithoutAPasswordTheSessionsIsUsed) {
    tree("OTHER_TREE", "bob.org");
    EXPECT_THAT(logins(), ElementsAre("\"bob.org\", 2, \"kept\")"));
    EXPECT_STREQ(CurrentPassword, "kept");
    EXPECT_THAT(wipe_watch::wiped(), Contains("kept")) << "the copy of it";
}

TEST_F(DoTreeLoginTest, IdentifiersInThePasswordAreReplacedByTheProbesTree) {
    setenv("TREE_LOGIN_TEST", "s3cret", 1);
    tree("OTHER_TREE", "bob.org", "%<TREE_LOGIN_TEST>!");
    EXPECT_THAT(logins(), ElementsAre("\"bob.org\", 2, \"s3cret!\")"));
    EXPECT_THAT(wipe_watch::wiped(), Contains("s3cret!"));
    unsetenv("TREE_LOGIN_TEST");
    start();
    tree("OTHER_TREE", "bob.org", "a%b");
    EXPECT_THAT(spy::calls("ZKDSRead"), Each(StartsWith("ZKDSRead(1, ")));
    EXPECT_THAT(spy::calls("ZKDSRead"), Not(IsEmpty()));
    EXPECT_THAT(logins(), ElementsAre("\"bob.org\", 2, \"a%b\")"));
}

TEST_F(DoTreeLoginTest, TheNameIsAnsweredByTheSessionsTree) {
    tree("OTHER_TREE", "a%b.org", "given");
    EXPECT_THAT(spy::calls("ZKDSRead"), Each(StartsWith("ZKDSRead(77, ")));
    EXPECT_THAT(spy::calls("ZKDSRead"), Not(IsEmpty()));
}

TEST_F(DoTreeLoginTest, TheCallersPasswordIsWipedWhateverTheOutcome) {
    const struct {
        const char *what, *tree;
        std::function<void()> prepare;
    } rows[] = {
        {"a login", "OTHER_TREE", [] {}},
        {"an unknown tree", "NOWHERE", [] {}},
        {"a client that fails", "OTHER_TREE", [] { spy::fail("ZKCallsInit", 0xAB12); }},
        {"a login that exists", "OTHER_TREE", [] { spy::logged_in_to("OTHER_TREE", "bob.org"); }},
        {"a cancelled prompt", "OTHER_TREE", [] { spy::account("bob.org", "another"); }},
        {"a declined log-out", "OTHER_TREE", [] { spy::fail("ZKDSLoginEx", 0x8800); }},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.what);
        start();
        row.prepare();
        wipe_watch::forget();
        tree(row.tree, "bob.org", "given");
        EXPECT_EQ(password_, std::string(5, '\0'));
        EXPECT_THAT(wipe_watch::wiped(), Contains("given"));
    }
}

TEST_F(DoTreeLoginTest, TheSameUsersLoginServes) {
    for (const char *user : {"bob.org", "BOB.Org", ".bob.org"}) {
        SCOPED_TRACE(user);
        start();
        spy::logged_in_to("OTHER_TREE", "bob.org");
        output();
        tree("OTHER_TREE", user, "given");
        EXPECT_THAT(output(), testing::StrCaseEq("Your current tree is: OTHER_TREE\nYour current tree is: OTHER_TREE\n"
                                                 "Your current context is: org\n"));
        EXPECT_THAT(logins(), IsEmpty());
        EXPECT_THAT(spy::calls("auxlogin_c"), IsEmpty());
        EXPECT_THAT(spy::calls("ZKDSLogout"), IsEmpty());
        EXPECT_EQ(ctx, handle) << "the session's context is not switched";
        EXPECT_THAT(spy::calls("ZKDSFreeContext"), SizeIs(1)) << "only the probe";
        EXPECT_STREQ(CurrentTree, "OTHER_TREE");
        EXPECT_STRCASEEQ(CurrentContext, ".org");
    }
}

TEST_F(DoTreeLoginTest, AnyLoginServesWhenNoUserIsGiven) {
    spy::logged_in_to("OTHER_TREE", "admin.org");
    tree("OTHER_TREE");
    EXPECT_THAT(output(), StartsWith("Your current tree is: OTHER_TREE\n"));
    EXPECT_THAT(logins(), IsEmpty());
    EXPECT_EQ(ctx, handle);
    EXPECT_STREQ(CurrentTree, "OTHER_TREE");
    start();
    spy::logged_in_to("OTHER_TREE", "admin.org");
    output();
    tree("other_tree");
    EXPECT_THAT(output(), StartsWith("Your current tree is: other_tree\nYour current tree is: OTHER_TREE\n"))
        << "as given and then as the network spells it";
    start();
    spy::logged_in_to("OTHER_TREE", "bob");
    tree("OTHER_TREE", "BOB", "given");
    EXPECT_THAT(spy::calls("ZKDSLogout"), IsEmpty()) << "the same user without a context";
    EXPECT_THAT(logins(), IsEmpty());
    EXPECT_STREQ(CurrentTree, "OTHER_TREE");
}

TEST_F(DoTreeLoginTest, AnotherUsersLoginIsEndedWhateverFollows) {
    for (const bool succeeds : {true, false}) {
        start();
        output();
        spy::logged_in_to("OTHER_TREE", "admin.org");
        if (!succeeds) spy::account("bob.org", "right");
        tree("OTHER_TREE", "bob.org", "given");
        EXPECT_THAT(spy::calls("ZKDSLogout"), SizeIs(1));
        EXPECT_THAT(logins(), ElementsAre("\"bob.org\", 2, \"given\")"));
        EXPECT_THAT(spy::calls("auxconfirm_g"), IsEmpty()) << "it is not asked";
        const std::string ended = "Already logged into Tree(OTHER_TREE) as admin.org\n", written = output();
        EXPECT_EQ(written, ended + (succeeds ? "Your current tree is: OTHER_TREE\nYour current context is: org\n"
                                             : "Could not Login into tree: OTHER_TREE 1\n"));
        if (!succeeds) expect_the_session_unchanged();
    }
}

TEST_F(DoTreeLoginTest, WithoutAPasswordTheUserIsAsked) {
    session_replace(CurrentPassword, nullptr);
    spy::prompt_answer("carl.org", "typed");
    tree("OTHER_TREE", "bob.org");
    EXPECT_THAT(spy::calls("auxlogin_c"), ElementsAre("auxlogin_c(\"OTHER_TREE\", \"bob.org\")"));
    EXPECT_THAT(spy::calls("auxlogin_g"), IsEmpty());
    EXPECT_THAT(logins(), ElementsAre("\"carl.org\", 2, \"typed\")"));
    EXPECT_STREQ(CurrentObject, "carl") << "the name that was entered";
    EXPECT_THAT(wipe_watch::wiped(), Contains("typed"));
    EXPECT_EQ(CurrentPassword, nullptr);
}

TEST_F(DoTreeLoginTest, ThePlaceholderOfASessionWithoutAUserIsOffered) {
    session_replace(CurrentPassword, nullptr);
    session_replace(CurrentObject, nullptr);
    tree("OTHER_TREE");
    EXPECT_THAT(spy::calls("auxlogin_c"), ElementsAre("auxlogin_c(\"OTHER_TREE\", \"<UserName>\")"));
}

TEST_F(DoTreeLoginTest, ACancelledPromptIsCode1) {
    session_replace(CurrentPassword, nullptr);
    spy::fail("auxlogin_c", 55);
    tree("OTHER_TREE", "bob.org");
    EXPECT_EQ(output(), "Could not Login into tree: OTHER_TREE 1\n");
    EXPECT_THAT(logins(), IsEmpty());
    EXPECT_EQ(ctx, handle);
    EXPECT_EQ(spy::open_contexts(), 0);
}

TEST_F(DoTreeLoginTest, WrongPasswordsRepeatThePrompt) {
    spy::account("bob.org", "right");
    for (const char *password : {"wrong", "also wrong", "right"}) spy::prompt_answer("bob.org", password);
    tree("OTHER_TREE", "bob.org", "given");
    EXPECT_THAT(logins(), ElementsAre("\"bob.org\", 2, \"given\")", "\"bob.org\", 2, \"wrong\")",
                                      "\"bob.org\", 2, \"also wrong\")", "\"bob.org\", 2, \"right\")"));
    EXPECT_EQ(output(), "Your current tree is: OTHER_TREE\nYour current context is: org\n");
    for (const char *secret : {"given", "wrong", "also wrong", "right"}) {
        EXPECT_THAT(wipe_watch::wiped(), Contains(secret));
    }
}

TEST_F(DoTreeLoginTest, TheNameEnteredLastIsOfferedNext) {
    spy::account("bob.org", "right");
    spy::prompt_answer("carl.org", "wrong");
    tree("OTHER_TREE", "bob.org", "given");
    EXPECT_THAT(spy::calls("auxlogin_c"),
                ElementsAre("auxlogin_c(\"OTHER_TREE\", \"bob.org\")", "auxlogin_c(\"OTHER_TREE\", \"carl.org\")"));
    EXPECT_EQ(output(), "Could not Login into tree: OTHER_TREE 1\n");
    expect_the_session_unchanged();
}

TEST_F(DoTreeLoginTest, ThereIsNoLimitToTheAttempts) {
    spy::account("bob.org", "right");
    for (int attempt = 0; attempt < 300; attempt++) spy::prompt_answer("bob.org", "wrong");
    spy::prompt_answer("bob.org", "right");
    tree("OTHER_TREE", "bob.org", "given");
    EXPECT_STREQ(CurrentTree, "OTHER_TREE");
}

TEST_F(DoTreeLoginTest, AnotherIdentityIsLoggedOutWhenTheUserAgrees) {
    spy::fail_nth("ZKDSLoginEx", 1, 0x8800);
    spy::confirm_answer(4);
    spy::prompt_answer("bob.org", "typed");
    tree("OTHER_TREE", "bob.org", "given");
    EXPECT_THAT(
        spy::calls("auxconfirm_g"),
        ElementsAre("auxconfirm_g(\"Already logged in to OTHER_TREE as bob.org, log out?\", \"question\", 1, 12)"));
    const std::vector<std::string> names = spy::call_names();
    std::vector<std::string> steps;
    for (const std::string &name : names) {
        if (name == "ZKDSLoginEx" || name == "ZKDSLogout" || name.rfind("aux", 0) == 0) steps.push_back(name);
    }
    EXPECT_THAT(steps, ElementsAre("ZKDSLoginEx", "auxconfirm_g", "ZKDSLogout", "auxlogin_c", "ZKDSLoginEx"));
    EXPECT_THAT(logins().back(), "\"bob.org\", 2, \"typed\")");
    EXPECT_STREQ(CurrentTree, "OTHER_TREE");
}

TEST_F(DoTreeLoginTest, AnyOtherAnswerIsAFailure) {
    for (const int answer : {0, 1, 3, 5, -1}) {
        SCOPED_TRACE(answer);
        spy::fail("ZKDSLoginEx", 0x8800);
        spy::confirm_answer(answer);
        tree("OTHER_TREE", "bob.org", "given");
        EXPECT_EQ(output(), "Could not Login into tree: OTHER_TREE 8800\n");
        EXPECT_THAT(spy::calls("ZKDSLogout"), IsEmpty());
        EXPECT_THAT(spy::calls("auxlogin_c"), IsEmpty());
        expect_the_session_unchanged();
    }
}

TEST_F(DoTreeLoginTest, TheQuestionIsCutAt1023Bytes) {
    const std::string user = std::string(2000, 'u') + ".org";
    spy::fail("ZKDSLoginEx", 0x8800);
    tree("OTHER_TREE", user.c_str(), "given");
    const std::string question = ("Already logged in to OTHER_TREE as " + user).substr(0, 1023);
    EXPECT_THAT(spy::calls("auxconfirm_g"), ElementsAre("auxconfirm_g(\"" + question + "\", \"question\", 1, 12)"));
}

TEST_F(DoTreeLoginTest, ALongNameOfTheClientIsBounded) {
    spy::logged_in_to("OTHER_TREE", std::string(512, 'w'));
    tree("OTHER_TREE", "bob.org", "given");
    EXPECT_THAT(output(), StartsWith("Already logged into Tree(OTHER_TREE) as " + std::string(512, 'w') + "\n"));
}

TEST_F(DoTreeLoginTest, TheStatementIsTracedWithoutItsPassword) {
    const auto given = [this] {
        start();
        tree("OTHER_TREE", "bob", "s3cret");
    };
    expect_traces({"TREE - tree=OTHER_TREE, user=bob, pass=<your password>",
                   "try to append context (.sales.acme) onto user name (bob).", "Tree login return code 0x0",
                   "====you were not logged onto tree OTHER_TREE"},
                  given);
    EXPECT_THAT(traces(9, given), Not(HasSubstr("s3cret")));
    const auto bare = [this] {
        session_replace(CurrentContext, nullptr);
        spy::logged_in_to("OTHER_TREE", "bob.org");
        tree("OTHER_TREE");
    };
    expect_traces({"TREE - tree=OTHER_TREE, user=NULL, pass=NULL", "try to append context onto user name, failed.",
                   "whoami bob.org"},
                  bare);
    const auto same = [this] {
        spy::logged_in_to("OTHER_TREE", "bob.org");
        tree("OTHER_TREE", "BOB.org");
    };
    expect_traces({"whoami bob.org BOB.org"}, same);
    const auto another = [this] {
        spy::logged_in_to("OTHER_TREE", "admin.org");
        tree("OTHER_TREE", "bob.org", "given");
    };
    EXPECT_THAT(trace_texts(3, another), Not(Contains(StartsWith("whoami")))) << "a login is needed";
    const auto declined = [this] {
        start();
        spy::fail("ZKDSLoginEx", 0x8800);
        spy::confirm_answer(3);
        tree("OTHER_TREE", "bob.org");
    };
    expect_traces({"return code from auxconfirm_g 3", "Tree login return code 0x8800"}, declined);
    EXPECT_THAT(trace_texts(3, [this] { tree(nullptr, "bob"); }), Contains("TREE - tree=NULL, user=bob, pass=NULL"));
}

TEST_F(DoTreeLoginTest, TheSessionsPasswordIsUsedAsItStands) {
    setenv("TREE_LOGIN_TEST", "replaced", 1);
    session_replace(CurrentPassword, "a%<TREE_LOGIN_TEST>b");
    tree("OTHER_TREE", "bob.org");
    EXPECT_THAT(logins(), ElementsAre("\"bob.org\", 2, \"a%<TREE_LOGIN_TEST>b\")"));
    EXPECT_STREQ(CurrentPassword, "a%<TREE_LOGIN_TEST>b");
}

TEST_F(DoTreeLoginTest, ALogOutThatFailsDoesNotKeepTheLoginBack) {
    spy::logged_in_to("OTHER_TREE", "admin.org");
    spy::fail("ZKDSLogout", 0xAB12);
    tree("OTHER_TREE", "bob.org", "given");
    EXPECT_THAT(logins(), ElementsAre("\"bob.org\", 2, \"given\")"));
    EXPECT_EQ(output(),
              "Already logged into Tree(OTHER_TREE) as admin.org\nYour current tree is: OTHER_TREE\n"
              "Your current context is: org\n");
    EXPECT_STREQ(CurrentTree, "OTHER_TREE");
}

TEST_F(DoTreeLoginTest, AnIdentityThatCannotBeLoggedOutIsAskedAboutAgain) {
    spy::fail("ZKDSLogout", 0xAB12);
    spy::fail_nth("ZKDSLoginEx", 1, 0x8800);
    spy::fail_nth("ZKDSLoginEx", 2, 0x8800);
    spy::confirm_answer(4);
    spy::confirm_answer(4);
    spy::prompt_answer("ann.org", "first");
    spy::prompt_answer("carl.org", "second");
    tree("OTHER_TREE", "bob.org", "given");
    EXPECT_THAT(
        spy::calls("auxconfirm_g"),
        ElementsAre("auxconfirm_g(\"Already logged in to OTHER_TREE as bob.org, log out?\", \"question\", 1, 12)",
                    "auxconfirm_g(\"Already logged in to OTHER_TREE as ann.org, log out?\", \"question\", 1, 12)"));
    EXPECT_THAT(logins(), ElementsAre("\"bob.org\", 2, \"given\")", "\"ann.org\", 2, \"first\")",
                                      "\"carl.org\", 2, \"second\")"));
    EXPECT_STREQ(CurrentObject, "carl");
}

TEST_F(DoTreeLoginTest, APromptThatIsCancelledAfterTheLogOutIsCode1) {
    spy::fail_nth("ZKDSLoginEx", 1, 0x8800);
    spy::confirm_answer(4);
    spy::prompt_cancel();
    tree("OTHER_TREE", "bob.org", "given");
    EXPECT_EQ(output(), "Could not Login into tree: OTHER_TREE 1\n");
    EXPECT_THAT(spy::calls("ZKDSLogout"), SizeIs(1));
    EXPECT_EQ(ctx, handle);
    EXPECT_STREQ(CurrentTree, "ACME_TREE");
}

TEST_F(DoTreeLoginTest, AnAnswerOfThePromptThatIsNoRefusalIsCode1Too) {
    spy::account("bob.org", "right");
    spy::fail("auxlogin_c", 0x8800);
    tree("OTHER_TREE", "bob.org", "wrong");
    EXPECT_EQ(output(), "Could not Login into tree: OTHER_TREE 1\n");
    EXPECT_THAT(spy::calls("auxconfirm_g"), IsEmpty());
}

// A prompt that was answered and handed nothing over leaves no name to offer.
TEST_F(DoTreeLoginTest, AMissingNameIsOfferedAsAPlaceholder) {
    spy::account("bob.org", "right");
    spy::fail_nth("auxlogin_c", 1, 0);
    spy::prompt_answer("bob.org", "right");
    tree("OTHER_TREE", "carl.org", "given");
    EXPECT_THAT(spy::calls("auxlogin_c"),
                ElementsAre("auxlogin_c(\"OTHER_TREE\", \"carl.org\")", "auxlogin_c(\"OTHER_TREE\", \"<username>\")"));
    EXPECT_THAT(logins(), ElementsAre("\"carl.org\", 2, \"given\")", "null, 2, null)", "\"bob.org\", 2, \"right\")"));
    EXPECT_STREQ(CurrentObject, "bob");
}

TEST_F(DoTreeLoginTest, TheCodeOfALoginIsTracedInHexadecimal) {
    spy::account("bob.org", "right");
    EXPECT_THAT(trace_texts(3, [this] { tree("OTHER_TREE", "bob.org", "wrong"); }),
                Contains("Tree login return code 0xFFFFE001"));
}

} // namespace
