#include "language/control_flow.h"

#include "tests/unit/session_fixture.h"

namespace {

class ControlFlowTest : public ScriptTest {
  protected:
    // What a GOTO to a reserved word writes.
    static std::string invalid(const std::string &label) {
        return report("GOTO " + label) + "Invalid Label:" + label + " used in goto statement\n";
    }
};

TEST_F(ControlFlowTest, ScriptsJump) {
    const std::string label(500, 'L');
    expect_scripts({
        {"a GOTO skips the lines up to its label", "GOTO DONE\nWRITE \"a\"\nDONE:\nWRITE \"z\"\n", "z\n"},
        {"the other form of a label", "GOTO DONE\r\nWRITE \"a\"\r\n:DONE\r\nWRITE \"z\"\r\n", "z\n"},
        {"letter case does not count", "GOTO done\nWRITE \"a\"\nDone:\nWRITE \"z\"\n", "z\n"},
        {"a GOTO backwards loops until a condition stops it",
         "SET N = \"0\"\nLOOP:\nSET N = %<N> + \"1\"\nWRITE %<N>\n"
         "IF VALUE %<N> < \"3\" THEN GOTO LOOP\nWRITE \"done\"\n",
         "1\n2\n3\ndone\n"},
        {"a label on the first line is not found",
         "LOOP:\nIF %<SEEN> = \"1\" THEN EXIT\nSET SEEN = \"1\"\nGOTO LOOP\nWRITE \"on\"\n", "on\n"},
        {"labels may be joined words", "GOTO A-B*C\nWRITE \"a\"\n:A-B*C\nWRITE \"z\"\n", "z\n"},
        {"one of 500 characters is not found", "GOTO " + label + "\nWRITE \"a\"\n" + label + ":\nWRITE \"z\"\n",
         "a\nz\n"},
        {"label lines do nothing", ":A\nA:\nA :\n : A\n:IF\nIF:\n:A-B\nWRITE \"z\"\n", "z\n"},
        {"a GOTO may be the single statement", "IF \"0\" THEN GOTO DONE\nWRITE \"a\"\nDONE:\nWRITE \"z\"\n", "z\n"},
        {"a skipped one too", "IF \"1\" THEN GOTO DONE\nWRITE \"a\"\nDONE:\nWRITE \"z\"\n", "a\nz\n"},
        {"a jump into a block keeps the level outside",
         "GOTO IN\nIF \"1\" THEN\nWRITE \"a\"\nIN:\nWRITE \"b\"\nEND\nWRITE \"z\"\n", "b\nz\n"},
        {"a reserved word in a joined label is reserved too", "GOTO A-end\n", invalid("A-end"), 1},
        {"an invalid label is reported in a skipped block too", "IF \"1\" THEN\nGOTO IF\nEND\n", invalid("IF"), 1},
        {"only the next GOTO is affected by a reserved label", "GOTO IF\nGOTO DONE\nWRITE \"a\"\nDONE:\nWRITE \"z\"\n",
         invalid("IF") + "z\n", 1},
        {"in a malformed GOTO it meets the next one", "GOTO IF )\n",
         report("GOTO IF )") + report("GOTO IF )") + "Invalid goto command format\n", 1},
        {"which is that one", "GOTO DONE\nWRITE \"a\"\nDONE:\n", "Invalid Label:DONE used in goto statement\na\n"},
    });
}

TEST_F(ControlFlowTest, ScriptsExitAndBreakAndHaveRemarks) {
    expect_scripts({
        {"EXIT ends the script", "WRITE \"a\"\nEXIT\nWRITE \"b\"\nFOO BAR\n", "a\nExiting script...\n"},
        {"the next script runs", "WRITE \"a\"\n", "a\n"},
        {"a skipped EXIT does nothing", "IF \"1\" THEN EXIT\nIF \"1\" THEN\nEXIT\nEND\nWRITE \"a\"\n", "a\n"},
        {"an EXIT may be the single statement", "IF \"0\" THEN EXIT\nWRITE \"a\"\n",
         "Exiting script...\nWarning, unmatched IF...THEN statment (no END or ENDIF)\n", 1},
        {"EXIT with anything else is an error", "EXIT now\nWRITE \"a\"\n",
         report("EXIT now") + "Invalid exit command format\na\n", 1},
        {"so is BREAK alone", "BREAK\nWRITE \"a\"\n", report("WRITE \"a\"") + "Invalid break command format\na\n", 1},
        {"and with anything else", "DOS BREAK MAYBE\nWRITE \"a\"\n",
         report("DOS BREAK MAYBE") + "Invalid break command format\na\n", 1},
        {"a skipped BREAK does nothing", "IF \"1\" THEN\nBREAK ON\nDOS BREAK ON\nEND\n", ""},
        {"remarks are read and forgotten",
         "REMARK \"open ) %LOGIN_NAME\nREM\n  rem x\n* y\n** z\n\t;; w\n*\n;\nREMARK:\nWRITE \"a\"\n", "a\n"},
        {"nothing in them is interpreted", "REM EXIT\n* EXIT\n; GOTO IF\nREMARK IF ) THEN\nWRITE \"a\"\n", "a\n"},
        {"a remark may be the single statement", "IF \"1\" THEN REM x\nWRITE \"a\"\n", "a\n"},
        {"and stands only at the start of a statement", "WRITE \"a\" REM x\n",
         report("WRITE \"a\" REM x") + "Invalid write command format\n", 1},
    });
    EXPECT_EQ(bcntrlc, 0);
    EXPECT_THAT(spy::calls(), IsEmpty());
}

TEST_F(ControlFlowTest, AnUnknownLabelGoesOnBehindTheGotoSilently) {
    expect_scripts({{"", "GOTO DONE\nWRITE \"a\"\n", "a\n"}});
    EXPECT_EQ(gotolabel, nullptr);
    EXPECT_EQ(gotostate, 0);
}

TEST_F(ControlFlowTest, LabelLinesAreTraced) {
    for (const auto &[line, label] :
         {std::pair{":A-B\n", "A-B\n"}, std::pair{"AB:\n", "AB\n"}, std::pair{"IF:\n", "IF\n"}})
        EXPECT_THAT(traces(9, [this, script = line] { run(script); }), HasSubstr(std::string("label ") + label));
}

TEST_F(ControlFlowTest, GotoWasUsedIsSetByAJumpAndForgottenByTheNextScript) {
    expect_scripts({{"skipped", "IF \"1\" THEN\nGOTO DONE\nEND\nWRITE \"a\"\nDONE:\n", "a\n"}});
    EXPECT_EQ(gotoWasUsed, 0);
    expect_scripts({{"invalid", "GOTO IF\nWRITE \"a\"\nIF:\nWRITE \"z\"\n", invalid("IF") + "a\nz\n", 1}});
    EXPECT_EQ(gotoWasUsed, 0);
    run("GOTO NOWHERE\n");
    EXPECT_EQ(gotoWasUsed, 1);
    EXPECT_EQ(run("IF \"0\" THEN\n"), 1);
    EXPECT_EQ(gotoWasUsed, 0);
}

TEST_F(ControlFlowTest, AJumpOutOfABlockKeepsItsLevel) {
    expect_scripts({{"", "IF \"0\" THEN\nGOTO OUT\nEND\nOUT:\nWRITE \"a\"\nELSE\nWRITE \"b\"\n", "a\n"}});
    EXPECT_EQ(condindex, 1);
}

TEST_F(ControlFlowTest, AJumpThatIsDueWaitsForALevelThatExecutes) {
    gotostate = 1;
    gotolabel = text_copy("OUT").release();
    expect_scripts({{"", "IF \"1\" THEN\nEND\nWRITE \"a\"\nOUT:\nWRITE \"b\"\n", "b\n"}});
}

TEST_F(ControlFlowTest, AJumpThatIsStillDueGivesWayToTheNextOne) {
    goto_statement(text_copy("A"));
    goto_statement(text_copy("B"));
    EXPECT_STREQ(gotolabel, "B");
    EXPECT_EQ(gotostate, 1);
    EXPECT_EQ(gotoWasUsed, 1);
}

TEST_F(ControlFlowTest, AJumpDoesNotAdjustTheLineCounter) {
    const int32_t before = linecounter;
    run("GOTO DONE\nWRITE \"a\"\nDONE:\n");
    // The GOTO line, what follows the label, and the end of the text.
    EXPECT_EQ(linecounter, before + 3);
}

TEST_F(ControlFlowTest, EveryReservedWordIsAnInvalidLabel) {
    for (const std::string &word : label_words("MAP PATH REMARK REM regread"))
        EXPECT_EQ(printed("GOTO " + word + "\n"), invalid(word));
    EXPECT_THAT(traces(6, [this] { run("GOTO IF\n"); }),
                HasSubstr("parse error unexpected input: Reserved words cannot be used as labels\n"));
    run("GOTO IF )\n");
    EXPECT_EQ(invalidGoToLabel, 1);
    invalidGoToLabel = 0;
}

TEST_F(ControlFlowTest, BreakSetsWhetherTheInterruptKeyCounts) {
    for (const std::string dos : {"", "DOS "}) {
        run(dos + "BREAK ON\n");
        EXPECT_EQ(bcntrlc, 1);
        EXPECT_EQ(printed("WRITE \"the next script keeps it\"\n"), "the next script keeps it\n");
        EXPECT_EQ(bcntrlc, 1);
        run(dos + "BREAK OFF\n");
        EXPECT_EQ(bcntrlc, 0);
    }
    EXPECT_EQ(output(), "");
}

} // namespace
