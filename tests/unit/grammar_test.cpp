#include "tests/unit/session_fixture.h"

namespace {

using GrammarTest = ScriptTest;

TEST_F(GrammarTest, ScriptsWriteTheirOutput) {
    spy::text_attribute(user, "Last_Login_Time", {"yesterday"});
    spy::server("SRV-1", "ACME_TREE");
    spy::authenticated("SRV-1");
    EXPECT_EQ(parse(""), 0);
    expect_scripts({
        {"an empty script", "", ""},
        {"empty lines are statements", "\n\r\n \t\r\r\n\r\r\r\nWRITE \"a\"\n", "a\n"},
        {"a line ends with up to three carriage returns",
         "WRITE \"a\"\nWRITE \"b\"\r\nWRITE \"c\"\r\r\nWRITE \"d\"\r\r\r\n", "a\nb\nc\nd\n"},
        {"and with no more", "WRITE \"e\"\r\r\r\r\nWRITE \"f\"\n",
         report("WRITE \"e\"") + "Invalid write command format\nf\n", 1},
        {"statements act as they are read", "WRITE \"before\"\nFOO BAR\nWRITE \"after\"\n",
         "before\n" + report("FOO BAR") + "after\n", 1},
        {"keywords ignore case", "write \"a\"\nWrite \"b\"\n", "a\nb\n"},
        {"an empty rest of the line", "#\n@\n*\n;\nREM\nREMARK\nWRITE \"next\"\n", "next\n"},
        {"silent forms",
         "FIRE 3\nFIRE PHASERS\nFIRE PHASERS 3 TIMES\nFIRE PHASER 3 TIMES\nSWAP\nNOSWAP\nDEBUG OFF\nTERM x\n"
         "DOS VERIFY ON\nSET A = \"x\"\nREM x\n",
         ""},
        {"both spellings", "LASTLOGINTIME\nLAST_LOGIN_TIME\n",
         "Last Login occurred at: yesterday\nLast Login occurred at: yesterday\n"},
        {"the words of a server are joined", "ATTACH SRV - 1\n", "Attached to server(SRV-1)\n"},
        {"every form may be the single statement of an IF",
         "IF \"0\" THEN SET A = \"x\"\nIF \"0\" THEN CX a.b\nIF \"0\" THEN ; x\nIF \"0\" THEN :label\n"
         "IF \"0\" THEN FIRE 3\nIF \"1\" THEN CLS\nWRITE \"z\"\n",
         "Your current context is: a.b\nz\n"},
    });
}

// The random forms of the property tests show that every form is accepted; this is what some of them write.
TEST_F(GrammarTest, FormsWriteTheirOutput) {
    const std::pair<const char *, std::string> forms[] = {
        {"WRITE \"a\"\n", "a\n"},
        {"WRITE\n", "\n"},
        {"CLS\n", std::string(40, '\n')},
        {"DISPLAY SYS:NOFILE\n", "Unable to find file:(SYS/NOFILE/)\n"},
        {"DISPLAY NOBODY\n", "Unable to find file: NOBODY\n"},
        {"DISPLAY OU=NOBODY.O=x\n", "Unable to find file: OU=NOBODY.O=x\n"},
        {"DISPLAY /no/file\n", "Unable to find file:/no/file\n"},
        {"DISPLAY sys:dir/file\n", "Unable to find file:(SYS/dir//file)\n"},
        {"DISPLAY my vol:/dir/file\n", "Unable to find file:(MYVOL//dir/file)\n"},
        {"DISPLAY srv/sys:dir\\file x\n", "Unable to find file:SRV/SYS/dir/\\file x\n"},
        {"DISPLAY srv\\sys:file\n", "Unable to find file:SRV/SYS/file/\n"},
        {"DISPLAY \\\\srv\\sys\\dir\n", "Unable to Find : srv/sys/\\dir\n"},
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
    for (const auto &[script, written] : forms) {
        EXPECT_EQ(run(script), 0) << script;
        EXPECT_THAT(output(), EndsWith(written)) << script;
        EXPECT_EQ(yynerrs, 0) << script;
    }
}

TEST_F(GrammarTest, AScriptWithoutItsLastLineEndIsAnErrorInItsLastLine) {
    EXPECT_EQ(parse("WRITE \"a\"\nWRITE \"b\""), 1);
    EXPECT_EQ(output(), "a\n" + report("WRITE \"b\""));
    EXPECT_EQ(run("WRITE \"b\""), 1);
}

TEST_F(GrammarTest, ParsingEndsWithZeroAfterErrorsOnLinesOfTheirOwnAndCountsThem) {
    const std::pair<const char *, int> rows[] = {
        {"FOO BAR\nWRITE \"a\"\nFOO BAR\n", 2}, {"WRITE\n", 0}, {"FOO BAR\n)\n", 1}, {"EXIT\nFOO", 0}, {"TERM x\n", 0}};
    for (const auto &[script, errors] : rows) {
        EXPECT_EQ(parse(script), 0) << script;
        EXPECT_EQ(yynerrs, errors) << script;
    }
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
    EXPECT_THAT(seen, ElementsAre(-2, -2, -2));
}

TEST_F(GrammarTest, ShiftMovesTheUserVariables) {
    const std::pair<const char *, const char *> rows[] = {
        {"SHIFT\n", "3"}, {"SHIFT 2\n", "4"}, {"SHIFT -2\n", "7"}, {"SHIFT - 7\n", "3"}};
    for (const auto &[script, second] : rows) {
        for (int i = 2; i < 8; i++) qrt_SetUserVar(i, std::to_string(i).c_str());
        EXPECT_EQ(run(script), 0);
        EXPECT_STREQ(uservars[2], second) << script;
    }
}

TEST_F(GrammarTest, AllFormsOfSetSetAndEmptyTheVariable) {
    for (const std::string set : {"SET", "DOS SET", "TEMP SET", "LOCAL SET"}) {
        unsetenv("A");
        EXPECT_EQ(run(set + " A = \"x\" ; \"y\"\n"), 0);
        EXPECT_STREQ(getenv("A"), "xy") << set;
        EXPECT_EQ(run(set + " A =\n"), 0);
        EXPECT_STREQ(getenv("A"), "") << set;
    }
}

TEST_F(GrammarTest, ProfileNoDefaultAndDebugChangeTheSession) {
    use_default_script = 1;
    EXPECT_EQ(run("PROFILE sales-office\nNO_DEFAULT\n"), 0);
    EXPECT_STREQ(over_ride_profile, "sales-office");
    EXPECT_EQ(use_default_script, 0);
    traces(0, [this] {
        run("DEBUG 7\n");
        EXPECT_EQ(debug_level, 7);
        run("DEBUG OFF\n");
        EXPECT_EQ(debug_level, 0);
    });
    EXPECT_EQ(output(), "DEBUG turned on level=7\n");
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

TEST_F(GrammarTest, TheRestOfTheLineReachesProgramsUnchanged) {
    folder_.script("show", "printf '[%s]' \"$@\"; echo");
    folder_.script("map", "printf '{%s}' \"$@\"; echo");
    expect_scripts({
        {"#", "#show WRITE (x) ) 'a b'\nWRITE \"next\"\n", "[WRITE][(x)][)]['a][b']\nnext\n"},
        {"MAP", "MAP ROOT H:=SYS:USERS\r\nWRITE \"next\"\r\n", "{ROOT}{H:=SYS:USERS}\nnext\n"},
        {"PATH", "PATH INS S1:=SYS:PUBLIC\nWRITE \"next\"\n", "{INS}{S1:=SYS:PUBLIC}\nnext\n"},
        {"a single statement", "IF \"0\" THEN #show x\n", "[x]\n"},
    });
}

TEST_F(GrammarTest, AProgramThatIsNotWaitedForTakesTheRestOfTheLine) {
    folder_.script("show", "echo \"$*\" > \"" + folder_.path("made") + "\"");
    folder_.script("wait_for_it",
                   "while [ ! -s \"" + folder_.path("made") + "\" ]; do :; done; cat \"" + folder_.path("made") + "\"");
    EXPECT_EQ(run("@show IF ( x\n#wait_for_it\n"), 0);
    EXPECT_EQ(output(), "IF ( x\n");
}

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

TEST_F(GrammarTest, AnIfLineAndAnEmptyLineOpenABlockRatherThanAnEmptyStatement) {
    run("IF \"0\" THEN\n\n");
    EXPECT_EQ(condindex, 1);
}

TEST_F(GrammarTest, IncludedTextIsReadNext) {
    const std::string inner = "INCLUDE " + folder_.path("inner") + "\n",
                      block = "INCLUDE " + folder_.path("block") + "\n", two = "INCLUDE " + folder_.path("two") + "\n";
    folder_.file("inner", "WRITE \"inner\"\n");
    folder_.file("outer", "WRITE \"a\"\n" + inner + "WRITE \"b\"");
    folder_.file("block", "IF \"1\" THEN\nWRITE \"inner\"\n");
    folder_.file("two", "WRITE \"inner\"\nWRITE \"more\"\n");
    expect_scripts({
        {"nested", "WRITE \"1\"\nINCLUDE " + folder_.path("outer") + "\nWRITE \"2\"\n", "1\na\ninner\nb\n2\n"},
        {"a block may end outside", block + "WRITE \"a\"\nEND\nWRITE \"b\"\n", "b\n"},
        {"an INCLUDE may be the single statement", "IF \"0\" THEN " + two + "WRITE \"z\"\n", "inner\nmore\nz\n"},
        {"and be skipped", "IF \"1\" THEN " + two + "WRITE \"z\"\n", "z\n"},
    });
}

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
    EXPECT_THAT(output(), StartsWith("a\n\nScript error.\n"));
    EXPECT_THAT(traces(6, [&] { EXPECT_EQ(run(script), 1); }),
                HasSubstr("parse error unexpected input: memory exhausted\n"));
}

} // namespace
