#include "commands/print.h"

#include "tests/unit/session_fixture.h"

namespace {

class PrintTest : public SessionTest {
  protected:
    // The output of a script that has to run without a syntax error of the parser's own.
    std::string printed(const std::string &script) {
        run(script);
        return output();
    }

    // The same in a branch whose condition was false.
    std::string skipped(const std::string &script) { return printed("IF \"a\" = \"b\" THEN\n" + script + "END\n"); }
    void user(const std::string &object, const char *context) {
        qrt_SetCurrentObject(object.c_str());
        set(CurrentContext, context);
    }
};

TEST_F(PrintTest, WriteWritesItsTextAndOneNewline) {
    const std::string large(100000, 'x');
    for (const std::string &text : {std::string("a b"), std::string("100%% %s %n"), std::string(), large})
        EXPECT_EQ(printed("WRITE \"" + text + "\"\n"), text + "\n");
    EXPECT_EQ(printed("WRITE\n"), "\n");
    EXPECT_EQ(printed("WRITE\r\n"), "\n");
    EXPECT_EQ(skipped("WRITE \"a\"\n"), "");
}

// For both of them.
class DisplayTest : public PrintTest, public testing::WithParamInterface<const char *> {
  protected:
    std::string display(const std::string &operand) { return printed(std::string(GetParam()) + " " + operand + "\n"); }
};
INSTANTIATE_TEST_SUITE_P(Both, DisplayTest, testing::Values("DISPLAY", "FDISPLAY"),
                         [](const auto &row) { return std::string(row.param); });

TEST_P(DisplayTest, WritesAFileOrAnObjectsLoginScriptAsItIs) {
    folder_.file("news", "no newline at the end\tand %s");
    EXPECT_EQ(display(folder_.path("news")), "no newline at the end\tand %s");
    std::string all;
    for (int byte = 1; byte < 256; byte++) all += static_cast<char>(byte);
    folder_.file("bytes", all + all);
    spy::stream("bytes", all);
    EXPECT_EQ(display(folder_.path("bytes")), all + all);
    EXPECT_EQ(display(".bytes"), all + "\r\n");
    spy::stream("news", "the news");
    EXPECT_EQ(display("news"), "the news\r\n");
}

TEST_P(DisplayTest, AppendsTheCurrentContextUnlessThereIsALeadingPeriod) {
    user("jdoe", ".sales.acme");
    spy::stream("news.sales.acme", "relative");
    spy::stream("news", "complete");
    EXPECT_EQ(display("news"), "relative\r\n");
    EXPECT_EQ(display(".news"), "complete\r\n");
    EXPECT_THAT(spy::calls("ZKDSAbbreviateName"),
                ElementsAre("ZKDSAbbreviateName(77, \"news.sales.acme\")", "ZKDSAbbreviateName(77, \".news\")"));
}

TEST_P(DisplayTest, AnUnknownObjectIsAFileByItsNameAsWritten) {
    user("jdoe", ".sales.acme");
    driveDir = text_copy(folder_.path("")).release();
    folder_.file("news", "from the file");
    EXPECT_EQ(display("news"), "from the file");
    EXPECT_THAT(spy::calls("ZKDSOpenStream"),
                ElementsAre("ZKDSOpenStream(77, \"news.sales.acme\", \"Login Script\", 0)"));
}

TEST_P(DisplayTest, WhatIsNeitherIsReportedAsWritten) {
    user("jdoe", ".sales.acme");
    EXPECT_EQ(display("news"), "Unable to find file: news\n");
    EXPECT_EQ(display(".news"), "Unable to find file: .news\n");
    EXPECT_EQ(display("/nowhere/x"), "Unable to find file:/nowhere/x\n");
}

TEST_P(DisplayTest, InASkippedBranchNothingIsShown) {
    spy::stream("news", "the news");
    EXPECT_EQ(skipped(std::string(GetParam()) + " .news\n"), "");
    EXPECT_THAT(spy::calls("ZKDSOpenStream"), IsEmpty());
    folder_.file("news", "the news");
    EXPECT_EQ(skipped(std::string(GetParam()) + " " + folder_.path("news") + "\n"), "");
    EXPECT_EQ(skipped(std::string(GetParam()) + " /nowhere/x\n"), "Unable to find file:/nowhere/x\n");
}

TEST_F(PrintTest, ClsWritesFortyNewlines) {
    EXPECT_EQ(printed("CLS\n"), std::string(40, '\n'));
    EXPECT_EQ(skipped("CLS\n"), "");
}

TEST_F(PrintTest, EachWriteIsFlushedAtOnce) {
    FILE *const file = fopen(folder_.path("out").c_str(), "w");
    setvbuf(file, nullptr, _IOFBF, 4096);
    fdr = file;
    run("WRITE \"a\"\nCLS\nPAUSE\n");
    const std::string expected = "a\n" + std::string(40, '\n') + "Press Enter key to continue...\n";
    EXPECT_EQ(taken(qrt_readLoginScriptFromFile(folder_.path("out").c_str())), expected);
    fdr = stream_;
    fclose(file);
}

// What each write to a stream carries.
std::vector<std::string> writes;

ssize_t keep_write(void *, const char *data, size_t size) {
    writes.emplace_back(data, size);
    return static_cast<ssize_t>(size);
}

TEST_F(PrintTest, ClsIsFlushedAfterEachNewline) {
    cookie_io_functions_t functions = {};
    functions.write = keep_write;
    FILE *const stream = fopencookie(nullptr, "w", functions);
    writes.clear();
    fdr = stream;
    run("CLS\n");
    fdr = stream_;
    fclose(stream);
    EXPECT_EQ(writes, std::vector<std::string>(40, "\n"));
}

TEST_F(PrintTest, AFullOutputIsIgnored) {
    FILE *const full = fopen("/dev/full", "w");
    fdr = full;
    EXPECT_EQ(run("WRITE \"lost\"\nCLS\nPAUSE\nSET PRINT_TEST = \"reached\"\n"), 0);
    fdr = stream_;
    fclose(full);
    EXPECT_STREQ(getenv("PRINT_TEST"), "reached");
    unsetenv("PRINT_TEST");
}

TEST_F(PrintTest, PauseWritesItsMessageAndAsksInWindows) {
    for (const char *keyword : {"PAUSE", "WAIT", "pause"}) {
        EXPECT_EQ(printed(std::string(keyword) + "\nWRITE \"on\"\n"), "Press Enter key to continue...\non\n");
    }
    EXPECT_THAT(spy::calls("auxpause_script"), IsEmpty());
    g_useGUI = 1;
    spy::pause_answer(9);
    std::string before;
    spy::on_call([&](const std::string &) { before = output(); });
    EXPECT_EQ(printed("WAIT\nWRITE \"on\"\n"), "on\n") << "whatever the answer";
    EXPECT_EQ(before, "Press Enter key to continue...\n") << "the message comes first";
    EXPECT_THAT(spy::calls(), ElementsAre("auxpause_script()"));
}

TEST_F(PrintTest, ASkippedPauseDoesNotPause) {
    g_useGUI = 1;
    EXPECT_EQ(skipped("PAUSE\nWAIT\n"), "");
    EXPECT_THAT(spy::calls("auxpause_script"), IsEmpty());
}

TEST_F(PrintTest, FireIsSilentInAllItsForms) {
    for (const char *form : {"FIRE 3", "FIRE 3 TIMES", "FIRE PHASERS", "FIRE PHASERS 3", "FIRE PHASERS 3 TIMES",
                             "FIRE PHASER 3", "FIRE PHASER 3 TIMES", "FIRE many"}) {
        SCOPED_TRACE(form);
        EXPECT_EQ(run(std::string(form) + "\n"), 0);
        EXPECT_EQ(output(), "");
        EXPECT_EQ(skipped(std::string(form) + "\n"), "");
    }
    FirePhasers(text_copy("3").release(), text_copy("TIMES").release());
    FirePhasers(text_copy("3").release(), nullptr);
    FirePhasers(nullptr, text_copy("TIMES").release());
    FirePhasers(nullptr, nullptr);
    EXPECT_EQ(output(), "");
}

TEST_F(PrintTest, LastLoginTimeShowsTheAttributeOfTheLoggedInObject) {
    user("jdoe", ".sales.acme");
    spy::text_attribute("jdoe.sales.acme", "Last_Login_Time", {"yesterday"});
    EXPECT_EQ(printed("LASTLOGINTIME\n"), "Last Login occurred at: yesterday\n");
    EXPECT_EQ(printed("LAST_LOGIN_TIME\n"), "Last Login occurred at: yesterday\n");
    EXPECT_THAT(spy::calls("ZKDSRead")[0], HasSubstr("ZKDSRead(77, \"jdoe.sales.acme\", 1, 0"));
    EXPECT_THAT(spy::calls("ZKDSPutAttrName")[0], HasSubstr("\"Last_Login_Time\""));
    user("jdoe", ".acme");
    spy::attribute("jdoe.acme", "Last_Login_Time", {spy::number(ZK_SYNTAX_TIME, 1000000000)});
    EXPECT_THAT(printed("LASTLOGINTIME\n"), StartsWith("Last Login occurred at: "));
    EXPECT_THAT(printed("LASTLOGINTIME\n"), HasSubstr("2001"));
}

TEST_F(PrintTest, AnUnreadableLastLoginTimeIsSilent) {
    EXPECT_EQ(printed("LASTLOGINTIME\n"), "") << "nobody is logged in";
    user("jdoe", ".acme");
    EXPECT_EQ(printed("LASTLOGINTIME\n"), "");
    spy::text_attribute("jdoe.acme", "Last_Login_Time", {"yesterday"});
    spy::fail("ZKDSGetAttrVal", 0x1234);
    EXPECT_EQ(printed("LASTLOGINTIME\n"), "");
}

TEST_F(PrintTest, ASkippedLastLoginTimeReadsNothing) {
    user("jdoe", ".acme");
    EXPECT_EQ(skipped("LASTLOGINTIME\nLAST_LOGIN_TIME\n"), "");
    EXPECT_THAT(spy::calls("ZKDSPutAttrName"), Not(Contains(HasSubstr("Last_Login_Time"))));
}

// Traces go to standard output, which these tests are not about.
class DebugTest : public PrintTest {
  protected:
    DebugTest() { testing::internal::CaptureStdout(); }
    ~DebugTest() override { testing::internal::GetCapturedStdout(); }
};

TEST_F(DebugTest, SetsAndReportsTheLevel) {
    const struct {
        const char *operand;
        int32_t level;
    } rows[] = {{"7", 7}, {"0", 0}, {"3x", 3}, {"x", 0}, {"ON", 0}, {"010", 10}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.operand);
        debug_level = 1;
        EXPECT_EQ(printed(std::string("DEBUG ") + row.operand + "\n"),
                  "DEBUG turned on level=" + std::to_string(row.level) + "\n");
        EXPECT_EQ(debug_level, row.level);
    }
    debug_statement(text("-2"));
    EXPECT_EQ(debug_level, -2);
    EXPECT_EQ(output(), "DEBUG turned on level=-2\n");
    debug_level = 7;
    EXPECT_EQ(printed("DEBUG OFF\n"), "");
    EXPECT_EQ(debug_level, 0);
}

TEST_F(DebugTest, ASkippedDebugChangesNothing) {
    debug_level = 2;
    EXPECT_EQ(skipped("DEBUG 7\nDEBUG OFF\n"), "");
    EXPECT_EQ(debug_level, 2);
}

TEST_F(PrintTest, TheNewLevelTakesEffectAtOnce) {
    EXPECT_THAT(traces(0, [] { run("DEBUG 1\n"); }), HasSubstr("parsescript_Run returned 0 (syntax ok)\n"));
}

} // namespace
