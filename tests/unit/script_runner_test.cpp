#include "language/script_runner.h"

#include "tests/unit/session_fixture.h"

namespace {

constexpr char unmatched_if[] = "Warning, unmatched IF...THEN statment (no END or ENDIF)\n";

class ScriptRunnerTest : public SessionTest {
  protected:
    // What the globals are while the statement `DISPLAY .probe` of a script runs.
    void look_at(const std::function<void()> &action) {
        spy::stream("probe", "");
        spy::on_call([action](const std::string &call) {
            if (call.rfind("ZKDSOpenStream", 0) == 0) action();
        });
    }
};

TEST_F(ScriptRunnerTest, RunsTheStatementsAndReturnsWhetherThereIsAMistake) {
    const std::tuple<const char *, std::string, int> rows[] = {
        {"WRITE \"a\"\r\nWRITE \"b\"\n", "a\nb\n", 0},
        {"", "", 0},
        {"\r\n", "", 0},
        {"IF \"a\" = \"b\" THEN\nWRITE \"x\"\n", unmatched_if, 1},
        {"IF \"a\" = \"b\" THEN\nEND\nIF \"a\" = \"b\" THEN\nENDIF\n", "", 0}};
    for (const auto &[script, written, result] : rows) {
        EXPECT_EQ(run(script), result) << script;
        EXPECT_EQ(output(), written) << script;
        EXPECT_EQ(syntax_error, result) << script;
    }
}

TEST_F(ScriptRunnerTest, AMistakeIsTheResultAndTheScriptGoesOn) {
    EXPECT_EQ(run("WRITE \"a\"\n= =\nWRITE \"b\"\n"), 1);
    const std::string printed = output();
    EXPECT_EQ(printed.substr(0, 2), "a\n");
    EXPECT_THAT(printed, EndsWith("b\n"));
    EXPECT_EQ(run("WRITE \"c\"\n"), 0) << "the next script starts without it";
    EXPECT_EQ(run("GOTO nowhere\n= =\nIF \"a\" = \"a\" THEN\n"), 1);
    EXPECT_THAT(output(), Not(HasSubstr(unmatched_if)));
}

TEST_F(ScriptRunnerTest, TheTextIsCopied) {
    OwnedText script = text_copy("DISPLAY .probe\nWRITE \"b\"\n");
    look_at([&script] { memset(script.get(), 'x', strlen(script.get())); });
    EXPECT_EQ(parsescript_Run(script.get(), nullptr, handle), 0);
    EXPECT_EQ(output(), "\r\nb\n");
}

TEST_F(ScriptRunnerTest, TheParsersStateIsReset) {
    condindex = 3;
    condstate[3] = 1;
    syntax_error = 1;
    gotoWasUsed = 1;
    end_of_line = 0;
    const int32_t lines = linecounter;
    EXPECT_EQ(run("IF \"a\" = \"a\" THEN\n"), 1) << "the jump of an earlier script is forgotten";
    EXPECT_EQ(output(), unmatched_if);
    EXPECT_EQ(condindex, 1);
    EXPECT_EQ(linecounter, lines + 2) << "the first line is a start of line";
    EXPECT_EQ(run("WRITE \"a\"\n"), 0);
    EXPECT_EQ(output(), "a\n");
}

TEST_F(ScriptRunnerTest, LinesAreCountedFromScriptToScript) {
    linecounter = 40;
    run("WRITE\nWRITE\n");
    EXPECT_EQ(linecounter, 43) << "behind the last line feed a line starts, too";
    run("WRITE\n");
    EXPECT_EQ(linecounter, 45);
}

TEST_F(ScriptRunnerTest, TheObjectIsBorrowedAndTheContextSet) {
    char object[] = "jdoe.acme";
    char *seen = nullptr;
    uint32_t context = 0;
    look_at([&] {
        seen = objname;
        context = ctx;
    });
    EXPECT_EQ(parsescript_Run("DISPLAY .probe\n", object, handle), 0);
    EXPECT_EQ(seen, object);
    EXPECT_EQ(context, handle);
}

TEST_F(ScriptRunnerTest, AnyGotoThatWasExecutedKeepsTheReportAway) {
    const struct {
        const char *script;
        int result;
    } rows[] = {
        {"GOTO next\nWRITE \"jumped over\"\nnext:\nIF \"a\" = \"b\" THEN\nWRITE \"x\"\n", 0},
        {"IF \"a\" = \"a\" THEN\nGOTO nowhere\n", 0},
        {"IF \"a\" = \"a\" THEN\nIF \"a\" = \"a\" THEN GOTO nowhere\n", 0},
        {"IF \"a\" = \"a\" THEN GOTO nowhere\nIF \"a\" = \"b\" THEN\n", 0},
        {"IF \"a\" = \"b\" THEN\nGOTO nowhere\n", 1},
        {"IF \"a\" = \"b\" THEN GOTO nowhere\nIF \"a\" = \"a\" THEN\n", 1},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(run(row.script), row.result) << row.script;
        EXPECT_EQ(output(), row.result ? unmatched_if : "") << row.script;
    }
}

TEST_F(ScriptRunnerTest, EachRunUsesUpASlotAndTheFirstFollowsTheHundredth) {
    if (ibufstackindex > 97) ibufstackindex = 0;
    const int32_t depth = ibufstackindex;
    run("WRITE\n");
    EXPECT_EQ(ibufstackindex, depth + 1);
    EXPECT_EQ(ibufstack[depth], nullptr);
    run("WRITE\n");
    EXPECT_EQ(ibufstackindex, depth + 2);
    ibufstackindex = 0;
    for (int script = 1; script <= 100; script++) run("");
    EXPECT_EQ(ibufstackindex, 100);
    output();
    EXPECT_EQ(run("WRITE \"script 101\"\n"), 0);
    EXPECT_EQ(output(), "script 101\n");
    EXPECT_EQ(ibufstackindex, 1) << "in the first slot again";
}

TEST_F(ScriptRunnerTest, TheResultIsTraced) {
    expect_traces({"parsescript_Run returned 0 (syntax ok)"}, [] { run("WRITE\n"); });
    expect_traces({"parsescript_Run returned 1 (syntax error found)"}, [] { run("= =\n"); });
    expect_traces({"parsescript_Run returned 1 (syntax error found)"}, [] { run("IF \"a\" = \"a\" THEN\n"); });
}

class OneMoreScriptTest : public ScriptRunnerTest {
  protected:
    OneMoreScriptTest() {
        spy::tree("ACME_TREE", "SRV1");
        set(CurrentTree, "ACME_TREE");
        qrt_SetCurrentObject("jdoe");
        set(CurrentContext, ".acme");
    }
};

TEST_F(OneMoreScriptTest, RunsOnAContextOfItsOwn) {
    std::string object;
    uint32_t context = 0;
    look_at([&] {
        object = shown(objname);
        context = ctx;
    });
    EXPECT_EQ(qrt_RunScript("DISPLAY .probe\nWRITE \"more\"\n"), 0);
    EXPECT_EQ(output(), "\r\nmore\n") << "and no end marker: the session stays open";
    EXPECT_EQ(object, "jdoe.acme");
    EXPECT_EQ(context, 1U);
    EXPECT_THAT(spy::calls("ZKDSSetContext"),
                ElementsAre("ZKDSSetContext(1, DCK_FLAGS, 0x57)", "ZKDSSetContext(1, DCK_TREE_NAME, \"ACME_TREE\")"));
    EXPECT_EQ(spy::calls().back(), "ZKDSFreeContext(1)");
    EXPECT_EQ(spy::open_contexts(), 0);
    EXPECT_STREQ(CurrentObject, "jdoe");
}

TEST_F(OneMoreScriptTest, IgnoresTheScriptsResult) {
    EXPECT_EQ(qrt_RunScript("= =\n"), 0);
    EXPECT_EQ(syntax_error, 1);
}

TEST_F(OneMoreScriptTest, FreesTheContextOfATreeStatementInstead) {
    spy::tree("OTHER_TREE", "SRV2");
    set(CurrentPassword, "secret");
    EXPECT_EQ(qrt_RunScript("TREE OTHER_TREE/bob.x\nWRITE \"on\"\n"), 0);
    EXPECT_THAT(output(), EndsWith("on\n"));
    EXPECT_EQ(spy::open_contexts(), 0);
}

TEST_F(OneMoreScriptTest, WithoutAnObjectTheScriptRunsAndWithoutATreeNothing) {
    session_replace(CurrentObject, nullptr);
    EXPECT_EQ(qrt_RunScript("WRITE \"x\"\n"), 0);
    EXPECT_EQ(output(), "x\n");
    session_replace(CurrentTree, nullptr);
    spy::forget_calls();
    EXPECT_EQ(qrt_RunScript("WRITE \"x\"\n"), 0);
    EXPECT_EQ(output(), "");
    EXPECT_THAT(spy::calls(), IsEmpty());
}

} // namespace
