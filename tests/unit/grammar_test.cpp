
#include "tests/unit/session_fixture.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;

class GrammarTest : public ScriptTest {
  protected:
    static std::string repeat(int count, const std::string &text) {
        std::string all;
        while (count-- > 0) all += text;
        return all;
    }
};

// ---- whole scripts ----

TEST_F(GrammarTest, AnEmptyScriptIsAccepted) {
    EXPECT_EQ(parse(""), 0);
    EXPECT_EQ(run(""), 0);
    EXPECT_EQ(output(), "");
}

TEST_F(GrammarTest, EmptyLinesAreStatements) {
    EXPECT_EQ(run("\n\r\n \t\r\r\n\r\r\r\nWRITE \"a\"\n"), 0);
    EXPECT_EQ(output(), "a\n");
}

TEST_F(GrammarTest, ALineEndsWithUpToThreeCarriageReturns) {
    EXPECT_EQ(run("WRITE \"a\"\nWRITE \"b\"\r\nWRITE \"c\"\r\r\nWRITE \"d\"\r\r\r\n"), 0);
    EXPECT_EQ(output(), "a\nb\nc\nd\n");
    EXPECT_EQ(run("WRITE \"e\"\r\r\r\r\nWRITE \"f\"\n"), 1);
    EXPECT_EQ(output(), report("WRITE \"e\"") + "Invalid write command format\nf\n");
}

TEST_F(GrammarTest, StatementsActAsTheyAreRead) {
    EXPECT_EQ(printed("WRITE \"before\"\nFOO BAR\nWRITE \"after\"\n"), "before\n" + report("FOO BAR") + "after\n");
}

TEST_F(GrammarTest, AScriptWithoutItsLastLineEndIsAnErrorInItsLastLine) {
    EXPECT_EQ(parse("WRITE \"a\"\nWRITE \"b\""), 1);
    EXPECT_EQ(output(), "a\n" + report("WRITE \"b\""));
    EXPECT_EQ(run("WRITE \"b\""), 1);
}

TEST_F(GrammarTest, ParsingEndsWithZeroAfterAnErrorOnALineOfItsOwn) {
    EXPECT_EQ(parse("FOO BAR\nWRITE \"a\"\n"), 0);
    EXPECT_EQ(parse("EXIT\nFOO"), 0);
    EXPECT_EQ(parse("TERM x\n"), 0);
}

TEST_F(GrammarTest, EachParseCountsItsErrorsAnew) {
    parse("FOO BAR\nWRITE \"a\"\nFOO BAR\n");
    EXPECT_EQ(yynerrs, 2);
    parse("WRITE\n");
    EXPECT_EQ(yynerrs, 0);
    parse("FOO BAR\n)\n");
    EXPECT_EQ(yynerrs, 1);
}

TEST_F(GrammarTest, ALookAheadIsNotCarriedIntoTheNextScript) {
    parse("FOO BAR");
    output();
    EXPECT_EQ(parse("WRITE \"a\"\n"), 0);
    EXPECT_EQ(output(), "a\n");
}

TEST_F(GrammarTest, NoLookAheadHasBeenReadWhenAStatementActs) {
    std::vector<int> seen;
    spy::on_call([&seen](const std::string &call) {
        if (call.rfind("ZKDSOpenStream", 0) == 0) seen.push_back(yychar);
    });
    EXPECT_EQ(parse("DISPLAY nobody\nINCLUDE nobody\r\nFDISPLAY .nobody\n"), 0);
    spy::on_call(nullptr);
    EXPECT_THAT(seen, testing::ElementsAre(-2, -2, -2));
}

TEST_F(GrammarTest, KeywordsIgnoreCase) {
    EXPECT_EQ(printed("write \"a\"\nWrite \"b\"\n"), "a\nb\n");
}

// ---- every form of a statement is accepted ----

struct Form {
    const char *script;
    const char *output;
};

// The random forms of the property tests show that every form is accepted; this is what some of them write.
TEST_F(GrammarTest, FormsWriteTheirOutput) {
    static const Form forms[] = {
        {"WRITE \"a\"\n", "a\n"},
        {"WRITE\n", "\n"},
        {"DISPLAY SYS:NOFILE\n", "Unable to find file:(SYS/NOFILE/)\n"},
        {"DISPLAY NOBODY\n", "Unable to find file: NOBODY\n"},
        {"DISPLAY OU=NOBODY.O=x\n", "Unable to find file: OU=NOBODY.O=x\n"},
        {"DISPLAY /no/file\n", "Unable to find file:/no/file\n"},
        {"FDISPLAY SYS:NOFILE\n", "Unable to find file:(SYS/NOFILE/)\n"},
        {"FDISPLAY NOBODY\n", "Unable to find file: NOBODY\n"},
        {"FDISPLAY /no/file\n", "Unable to find file:/no/file\n"},
        {"PAUSE\n", "Press Enter key to continue...\n"},
        {"WAIT\n", "Press Enter key to continue...\n"},
        {"DEBUG 0\n", "DEBUG turned on level=0\n"},
        {"DEBUG ON\n", "DEBUG turned on level=0\n"},
        {"INCLUDE SYS:NOFILE\n", "Unable to find file:(SYS/NOFILE/)\n"},
        {"INCLUDE NOBODY\n", "Unable to find file: NOBODY\n"},
        {"INCLUDE /no/file\n", "Unable to find file:/no/file\n"},
        {"CONTEXT a.b\n", "Your current context is: a.b\n"},
        {"CHANGE_CONTEXT OU=a.O=b\n", "Your current context is: OU=a.O=b\n"},
        {"CX .c\n", "Your current context is: c\n"},
        {"SET_TIME ON\n", "set_time command not implemented for Linux\n"},
        {"SET_TIME OFF\n", "set_time command not implemented for Linux\n"},
        {"SCRIPT_SERVER SRV1\n", "script_server (out of date) Ferrox 2 and Ferrox 3 users only\n"},
        {"COMSPEC=/no/file\n", "Unable to find file:/no/file\n"},
        {"REGREAD \"key\"\n", "REGREAD command not supported\n"},
    };
    for (const Form &form : forms) {
        EXPECT_EQ(run(form.script), 0) << form.script;
        EXPECT_THAT(output(), EndsWith(form.output)) << form.script;
        EXPECT_EQ(yynerrs, 0) << form.script;
    }
}

TEST_F(GrammarTest, SilentFormsAreSilent) {
    for (const char *script :
         {"FIRE 3\n", "FIRE PHASERS\n", "FIRE PHASERS 3 TIMES\n", "FIRE PHASER 3 TIMES\n", "SWAP\n", "NOSWAP\n",
          "DEBUG OFF\n", "TERM x\n", "DOS VERIFY ON\n", "SET A = \"x\"\n", "REM x\n"})
        EXPECT_EQ(printed(script), "") << script;
}

TEST_F(GrammarTest, ClsIsFortyLineFeeds) {
    EXPECT_EQ(printed("CLS\n"), std::string(40, '\n'));
}

TEST_F(GrammarTest, EveryFormMayBeTheSingleStatementOfAnIf) {
    EXPECT_EQ(printed("IF \"0\" THEN SET A = \"x\"\nIF \"0\" THEN CX a.b\nIF \"0\" THEN ; x\nIF \"0\" THEN :label\n"
                      "IF \"0\" THEN FIRE 3\nIF \"1\" THEN CLS\nWRITE \"z\"\n"),
              "Your current context is: a.b\nz\n");
}

// ---- every form reaches its statement ----

TEST_F(GrammarTest, AllFormsOfSetSetAndEmptyTheVariable) {
    for (const std::string set : {"SET", "DOS SET", "TEMP SET", "LOCAL SET"}) {
        unsetenv("A");
        EXPECT_EQ(run(set + " A = \"x\" ; \"y\"\n"), 0);
        EXPECT_STREQ(getenv("A"), "xy") << set;
    }
    for (const std::string set : {"SET", "DOS SET", "TEMP SET"}) {
        setenv("A", "x", 1);
        EXPECT_EQ(run(set + " A =\n"), 0);
        EXPECT_STREQ(getenv("A"), "") << set;
    }
    setenv("A", "x", 1);
    EXPECT_EQ(run("LOCAL SET A =\n"), 0); // an empty text
    EXPECT_STREQ(getenv("A"), "");
}

TEST_F(GrammarTest, ShiftMovesTheUserVariables) {
    static const Form rows[] = {{"SHIFT\n", "3"}, {"SHIFT 2\n", "4"}, {"SHIFT -2\n", "7"}, {"SHIFT - 7\n", "3"}};
    for (const Form &row : rows) {
        for (int i = 2; i < 8; i++) qrt_SetUserVar(i, std::to_string(i).c_str());
        EXPECT_EQ(run(row.script), 0);
        EXPECT_STREQ(uservars[2], row.output) << row.script;
    }
}

TEST_F(GrammarTest, DriveTakesALetterOrANumber) {
    setenv("HOME", "/home/jdoe", 1);
    EXPECT_EQ(run("DRIVE H:\n"), 0);
    const std::string letter = driveDir ? driveDir : "none";
    EXPECT_THAT(letter, EndsWith("/H"));
    EXPECT_EQ(run("DRIVE *1\n"), 0);
    ASSERT_NE(driveDir, nullptr);
    EXPECT_NE(driveDir, letter);
}

TEST_F(GrammarTest, DebugSetsTheLevelAndOffClearsIt) {
    traces(0, [this] {
        run("DEBUG 7\n");
        EXPECT_EQ(debug_level, 7);
        run("DEBUG OFF\n");
        EXPECT_EQ(debug_level, 0);
    });
    EXPECT_EQ(output(), "DEBUG turned on level=7\n");
}

TEST_F(GrammarTest, ProfileAndNoDefaultTellTheSession) {
    use_default_script = 1;
    EXPECT_EQ(run("PROFILE sales-office\nNO_DEFAULT\n"), 0);
    EXPECT_STREQ(over_ride_profile, "sales-office");
    EXPECT_EQ(use_default_script, 0);
}

TEST_F(GrammarTest, LastLoginTimeIsWrittenByBothSpellings) {
    spy::text_attribute(user, "Last_Login_Time", {"yesterday"});
    EXPECT_EQ(printed("LASTLOGINTIME\nLAST_LOGIN_TIME\n"),
              "Last Login occurred at: yesterday\nLast Login occurred at: yesterday\n");
}

TEST_F(GrammarTest, FilesAndObjectsAreDisplayed) {
    folder_.file("text", "as it is");
    spy::stream("note.sales.acme", "of the object");
    spy::object("note.sales.acme");
    EXPECT_EQ(printed("DISPLAY " + folder_.path("text") + "\nFDISPLAY " + folder_.path("text") + "\n"),
              "as it isas it is");
    EXPECT_THAT(printed("DISPLAY note\n"), testing::StartsWith("of the object"));
    EXPECT_THAT(printed("FDISPLAY .note.sales.acme\n"), testing::StartsWith("of the object"));
}

TEST_F(GrammarTest, TreeTakesAUserAndAPassword) {
    const auto logins = [this](const std::string &script) {
        spy::forget_calls();
        EXPECT_EQ(run(script), 0) << script;
        const std::vector<std::string> calls = spy::calls("ZKDSLoginEx");
        return calls.empty() ? "none" : calls[0].substr(calls[0].find('"'));
    };
    spy::logged_out();
    spy::tree("OTHER-TREE", "SRV2");
    EXPECT_EQ(logins("TREE OTHER-TREE / bob . sales . acme ; s-ecret\n"), "\"bob.sales.acme\", 2, \"s-ecret\")");
    EXPECT_THAT(output(), HasSubstr("Your current tree is: OTHER-TREE\n"));
    spy::logged_in_to("OTHER-TREE", "");
    set(CurrentPassword, "kept");
    EXPECT_EQ(logins("TREE OTHER-TREE/ann.sales.acme\n"), "\"ann.sales.acme\", 2, \"kept\")");
    spy::logged_in_to("OTHER-TREE", "");
    EXPECT_EQ(logins("TREE OTHER-TREE\n"), "\"ann.sales.acme\", 2, \"kept\")");
}

TEST_F(GrammarTest, AttachTakesAServer) {
    spy::server("SRV-1", "ACME_TREE");
    spy::authenticated("SRV-1");
    EXPECT_EQ(printed("ATTACH SRV - 1\n"), "Attached to server(SRV-1)\n");
}

// ---- whole-line mode ----

TEST_F(GrammarTest, TheRestOfTheLineReachesProgramsUnchanged) {
    folder_.script("show", "printf '[%s]' \"$@\"; echo");
    folder_.script("map", "printf '{%s}' \"$@\"; echo");
    EXPECT_EQ(run("#show WRITE (x) ) 'a b'\nWRITE \"next\"\n"), 0);
    EXPECT_EQ(output(), "[WRITE][(x)][)]['a][b']\nnext\n");
    EXPECT_EQ(run("MAP ROOT H:=SYS:USERS\r\nWRITE \"next\"\r\n"), 0);
    EXPECT_EQ(output(), "{ROOT}{H:=SYS:USERS}\nnext\n");
    EXPECT_EQ(run("PATH INS S1:=SYS:PUBLIC\nWRITE \"next\"\n"), 0);
    EXPECT_EQ(output(), "{INS}{S1:=SYS:PUBLIC}\nnext\n");
    EXPECT_EQ(run("IF \"0\" THEN #show x\n"), 0);
    EXPECT_EQ(output(), "[x]\n");
}

TEST_F(GrammarTest, AProgramThatIsNotWaitedForTakesTheRestOfTheLine) {
    folder_.script("show", "echo \"$*\" > \"" + folder_.path("made") + "\"");
    folder_.script("wait_for_it",
                   "while [ ! -s \"" + folder_.path("made") + "\" ]; do :; done; cat \"" + folder_.path("made") + "\"");
    EXPECT_EQ(run("@show IF ( x\n#wait_for_it\n"), 0);
    EXPECT_EQ(output(), "IF ( x\n");
}

TEST_F(GrammarTest, AnEmptyRestOfTheLineIsAccepted) {
    EXPECT_EQ(run("#\n@\n*\n;\nREM\nREMARK\nWRITE \"next\"\n"), 0);
    EXPECT_EQ(output(), "next\n");
}

// ---- words ----

TEST_F(GrammarTest, ReservedWordsAreValidWords) {
    for (const std::string &word : label_words("MAP REMARK REM")) {
        unsetenv(word.c_str());
        EXPECT_EQ(run("SET " + word + " = 1\n"), 0) << word;
        EXPECT_STREQ(getenv(word.c_str()), "1") << word;
        EXPECT_EQ(run("CX " + word + " " + word + "\n"), 0) << word;
        EXPECT_EQ(CurrentContext, "." + word + word);
        unsetenv(word.c_str());
    }
    EXPECT_EQ(run("CX PATH\n"), 0);
}

TEST_F(GrammarTest, DebugDoAndVerifyAreNoWords) {
    output();
    for (const std::string word : {"DEBUG", "DO", "VERIFY"}) {
        EXPECT_EQ(run("SET " + word + " = 1\n"), 1) << word;
        EXPECT_EQ(output(), report("SET " + word + " = 1") + "Invalid set command format\n");
        EXPECT_EQ(run("CX " + word + "\n\n"), 1) << word;
        EXPECT_EQ(run(word + ":\n\n"), 1) << word;
        EXPECT_EQ(run(":" + word + "\n\n"), 1) << word;
        output();
    }
}

TEST_F(GrammarTest, EveryReservedWordMayBeALabelLine) {
    for (const std::string &word : label_words())
        EXPECT_EQ(run(word + ":\n:" + word + "\n" + word + " :\r\n"), 0) << word;
    EXPECT_EQ(run(":MAP\n:PATH\n:REM\n:REMARK\n"), 0);
    EXPECT_EQ(output(), "");
}

// ---- conflicts that must fall one way ----

TEST_F(GrammarTest, AnIfLineAndAnEmptyLineOpenABlockRatherThanAnEmptyStatement) {
    run("IF \"0\" THEN\n\n");
    EXPECT_EQ(condindex, 1);
}

TEST_F(GrammarTest, AWordBeforeAColonIsAVolume) {
    EXPECT_THAT(printed("DISPLAY sys:dir/file\n"), HasSubstr("Unable to find file:(SYS/dir//file)\n"));
    EXPECT_THAT(printed("DISPLAY my vol:/dir/file\n"), HasSubstr("Unable to find file:(MYVOL//dir/file)\n"));
}

TEST_F(GrammarTest, AWordBeforeASeparatorIsAServer) {
    EXPECT_THAT(printed("DISPLAY srv/sys:dir\\file x\n"), HasSubstr("Unable to find file:SRV/SYS/dir/\\file x\n"));
    EXPECT_THAT(printed("DISPLAY srv\\sys:file\n"), HasSubstr("Unable to find file:SRV/SYS/file/\n"));
}

TEST_F(GrammarTest, TwoBackslashesBeginAServersName) {
    EXPECT_THAT(printed("DISPLAY \\\\srv\\sys\\dir\n"), HasSubstr("Unable to Find : srv/sys/\\dir\n"));
}

TEST_F(GrammarTest, IncludedTextIsReadNext) {
    folder_.file("inner", "WRITE \"inner\"\n");
    folder_.file("outer", "WRITE \"a\"\nINCLUDE " + folder_.path("inner") + "\nWRITE \"b\"");
    EXPECT_EQ(run("WRITE \"1\"\nINCLUDE " + folder_.path("outer") + "\nWRITE \"2\"\n"), 0);
    EXPECT_EQ(output(), "1\na\ninner\nb\n2\n");
}

TEST_F(GrammarTest, AnIncludedBlockMayEndOutside) {
    folder_.file("inner", "IF \"1\" THEN\nWRITE \"inner\"\n");
    EXPECT_EQ(run("INCLUDE " + folder_.path("inner") + "\nWRITE \"a\"\nEND\nWRITE \"b\"\n"), 0);
    EXPECT_EQ(output(), "b\n");
}

TEST_F(GrammarTest, AnIncludeMayBeTheSingleStatement) {
    folder_.file("inner", "WRITE \"inner\"\nWRITE \"more\"\n");
    EXPECT_EQ(printed("IF \"0\" THEN INCLUDE " + folder_.path("inner") + "\nWRITE \"z\"\n"), "inner\nmore\nz\n");
    EXPECT_EQ(printed("IF \"1\" THEN INCLUDE " + folder_.path("inner") + "\nWRITE \"z\"\n"), "z\n");
}

// ---- the parser's stack ----

TEST_F(GrammarTest, TheStackGrowsToItsLimit) {
    const std::string nested = repeat(4000, "(") + "\"0\"" + repeat(4000, ")");
    EXPECT_EQ(parse("IF " + nested + " THEN WRITE \"deep\"\n"), 0);
    EXPECT_EQ(output(), "deep\n");
    EXPECT_EQ(parse("WRITE \"0\"" + repeat(4000, "+\"1\"") + "\n"), 0);
    EXPECT_EQ(output(), "4000\n");
}

// Beside the parentheses stand the first state, the IF, the condition and its closing parenthesis. The parser gives up
// when the last of the 10,000 entries has been taken.
TEST_F(GrammarTest, TheLimitOfTheStackIsTenThousandEntries) {
    const auto fits = [this](int depth) {
        return parse("IF " + repeat(depth, "(") + "\"0\"" + repeat(depth, ")") + " THEN WRITE \"deep\"\n") == 0;
    };
    EXPECT_TRUE(fits(10000 - 5));
    EXPECT_EQ(output(), "deep\n");
    EXPECT_FALSE(fits(10000 - 4));
}

TEST_F(GrammarTest, BeyondItsLimitTheParseEndsWithMemoryExhausted) {
    const std::string script = "WRITE \"a\"\nIF " + repeat(10000, "(") + "\nWRITE \"b\"\n";
    EXPECT_EQ(parse(script), 2);
    EXPECT_THAT(output(), testing::StartsWith("a\n\nScript error.\n"));
    EXPECT_THAT(traces(6, [&] { EXPECT_EQ(run(script), 1); }),
                HasSubstr("parse error unexpected input: memory exhausted\n"));
}

} // namespace
