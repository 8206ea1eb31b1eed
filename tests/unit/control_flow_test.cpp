#include "language/control_flow.h"

#include "tests/unit/session_fixture.h"

namespace {

using testing::HasSubstr;

class ControlFlowTest : public ScriptTest {};

// ---- GOTO and labels ----

TEST_F(ControlFlowTest, GotoSkipsTheLinesUpToItsLabel) {
    EXPECT_EQ(run("GOTO DONE\nWRITE \"a\"\nDONE:\nWRITE \"z\"\n"), 0);
    EXPECT_EQ(output(), "z\n");
    EXPECT_EQ(printed("GOTO DONE\r\nWRITE \"a\"\r\n:DONE\r\nWRITE \"z\"\r\n"), "z\n");
    EXPECT_EQ(printed("GOTO done\nWRITE \"a\"\nDone:\nWRITE \"z\"\n"), "z\n");
}

TEST_F(ControlFlowTest, AGotoBackwardsLoopsUntilAConditionStopsIt) {
    EXPECT_EQ(printed("SET N = \"0\"\nLOOP:\nSET N = %<N> + \"1\"\nWRITE %<N>\n"
                      "IF VALUE %<N> < \"3\" THEN GOTO LOOP\nWRITE \"done\"\n"),
              "1\n2\n3\ndone\n");
}

TEST_F(ControlFlowTest, AnUnknownLabelGoesOnBehindTheGotoSilently) {
    EXPECT_EQ(run("GOTO DONE\nWRITE \"a\"\n"), 0);
    EXPECT_EQ(output(), "a\n");
    EXPECT_EQ(gotolabel, nullptr);
    EXPECT_EQ(gotostate, 0);
}

TEST_F(ControlFlowTest, ALabelOnTheFirstLineIsNotFound) {
    EXPECT_EQ(printed("LOOP:\nIF %<SEEN> = \"1\" THEN EXIT\nSET SEEN = \"1\"\nGOTO LOOP\nWRITE \"on\"\n"), "on\n");
}

TEST_F(ControlFlowTest, LabelsMayBeJoinedWords) {
    EXPECT_EQ(printed("GOTO A-B*C\nWRITE \"a\"\n:A-B*C\nWRITE \"z\"\n"), "z\n");
}

TEST_F(ControlFlowTest, ALabelOf500CharactersIsNotFound) {
    const std::string label(500, 'L');
    EXPECT_EQ(run("GOTO " + label + "\nWRITE \"a\"\n" + label + ":\nWRITE \"z\"\n"), 0);
    EXPECT_EQ(output(), "a\nz\n");
}

TEST_F(ControlFlowTest, LabelLinesDoNothing) {
    EXPECT_EQ(run(":A\nA:\nA :\n : A\n:IF\nIF:\n:A-B\nWRITE \"z\"\n"), 0);
    EXPECT_EQ(output(), "z\n");
}

TEST_F(ControlFlowTest, LabelLinesAreTraced) {
    EXPECT_THAT(traces(9, [this] { run(":A-B\n"); }), HasSubstr("label A-B\n"));
    EXPECT_THAT(traces(9, [this] { run("AB:\n"); }), HasSubstr("label AB\n"));
    EXPECT_THAT(traces(9, [this] { run("IF:\n"); }), HasSubstr("label IF\n"));
}

TEST_F(ControlFlowTest, GotoInASkippedBlockDoesNothing) {
    EXPECT_EQ(run("IF \"1\" THEN\nGOTO DONE\nEND\nWRITE \"a\"\nDONE:\n"), 0);
    EXPECT_EQ(output(), "a\n");
    EXPECT_EQ(gotoWasUsed, 0);
}

TEST_F(ControlFlowTest, AGotoMayBeTheSingleStatement) {
    EXPECT_EQ(printed("IF \"0\" THEN GOTO DONE\nWRITE \"a\"\nDONE:\nWRITE \"z\"\n"), "z\n");
    EXPECT_EQ(printed("IF \"1\" THEN GOTO DONE\nWRITE \"a\"\nDONE:\nWRITE \"z\"\n"), "a\nz\n");
}

TEST_F(ControlFlowTest, AJumpOutOfABlockKeepsItsLevel) {
    EXPECT_EQ(run("IF \"0\" THEN\nGOTO OUT\nEND\nOUT:\nWRITE \"a\"\nELSE\nWRITE \"b\"\n"), 0);
    EXPECT_EQ(output(), "a\n");
    EXPECT_EQ(condindex, 1);
}

TEST_F(ControlFlowTest, AJumpIntoABlockKeepsTheLevelOutside) {
    EXPECT_EQ(printed("GOTO IN\nIF \"1\" THEN\nWRITE \"a\"\nIN:\nWRITE \"b\"\nEND\nWRITE \"z\"\n"), "b\nz\n");
}

TEST_F(ControlFlowTest, AJumpThatIsDueWaitsForALevelThatExecutes) {
    gotostate = 1;
    gotolabel = text_copy("OUT").release();
    EXPECT_EQ(run("IF \"1\" THEN\nEND\nWRITE \"a\"\nOUT:\nWRITE \"b\"\n"), 0);
    EXPECT_EQ(output(), "b\n");
}

TEST_F(ControlFlowTest, AJumpDoesNotAdjustTheLineCounter) {
    const int32_t before = linecounter;
    run("GOTO DONE\nWRITE \"a\"\nDONE:\n");
    // The GOTO line, what follows the label, and the end of the text.
    EXPECT_EQ(linecounter, before + 3);
}

TEST_F(ControlFlowTest, GotoWasUsedIsForgottenByTheNextScript) {
    run("GOTO NOWHERE\n");
    EXPECT_EQ(gotoWasUsed, 1);
    EXPECT_EQ(run("IF \"0\" THEN\n"), 1);
    EXPECT_EQ(gotoWasUsed, 0);
}

TEST_F(ControlFlowTest, GotoIfReportsAnErrorAndTheInvalidLabelAndDoesNotJump) {
    EXPECT_EQ(run("GOTO IF\nWRITE \"a\"\nIF:\nWRITE \"z\"\n"), 1);
    EXPECT_EQ(output(), report("GOTO IF") + "Invalid Label:IF used in goto statement\na\nz\n");
    EXPECT_EQ(gotoWasUsed, 0);
}

TEST_F(ControlFlowTest, AReservedWordInAJoinedLabelIsReservedToo) {
    EXPECT_EQ(printed("GOTO A-end\n"), report("GOTO A-end") + "Invalid Label:A-end used in goto statement\n");
}

TEST_F(ControlFlowTest, EveryReservedWordIsAnInvalidLabel) {
    for (const std::string &word : label_words("MAP PATH REMARK REM regread"))
        EXPECT_EQ(printed("GOTO " + word + "\n"),
                  report("GOTO " + word) + "Invalid Label:" + word + " used in goto statement\n");
}

TEST_F(ControlFlowTest, AReservedLabelIsTracedAsSuch) {
    EXPECT_THAT(traces(6, [this] { run("GOTO IF\n"); }),
                HasSubstr("parse error unexpected input: Reserved words cannot be used as labels\n"));
}

TEST_F(ControlFlowTest, AnInvalidLabelIsReportedInASkippedBlockToo) {
    EXPECT_EQ(printed("IF \"1\" THEN\nGOTO IF\nEND\n"),
              report("GOTO IF") + "Invalid Label:IF used in goto statement\n");
}

TEST_F(ControlFlowTest, OnlyTheNextGotoIsAffectedByAReservedLabel) {
    EXPECT_EQ(printed("GOTO IF\nGOTO DONE\nWRITE \"a\"\nDONE:\nWRITE \"z\"\n"),
              report("GOTO IF") + "Invalid Label:IF used in goto statement\nz\n");
}

TEST_F(ControlFlowTest, AReservedLabelInAMalformedGotoMeetsTheNextOne) {
    EXPECT_EQ(printed("GOTO IF )\n"), report("GOTO IF )") + report("GOTO IF )") + "Invalid goto command format\n");
    EXPECT_EQ(printed("GOTO DONE\nWRITE \"a\"\nDONE:\n"), "Invalid Label:DONE used in goto statement\na\n");
}

// ---- EXIT ----

TEST_F(ControlFlowTest, ExitEndsTheScript) {
    EXPECT_EQ(run("WRITE \"a\"\nEXIT\nWRITE \"b\"\nFOO BAR\n"), 0);
    EXPECT_EQ(output(), "a\nExiting script...\n");
}

TEST_F(ControlFlowTest, TheNextScriptRunsAfterAnExit) {
    run("EXIT\n");
    output();
    EXPECT_EQ(printed("WRITE \"a\"\n"), "a\n");
}

TEST_F(ControlFlowTest, ASkippedExitDoesNothing) {
    EXPECT_EQ(printed("IF \"1\" THEN EXIT\nIF \"1\" THEN\nEXIT\nEND\nWRITE \"a\"\n"), "a\n");
}

TEST_F(ControlFlowTest, AnExitMayBeTheSingleStatement) {
    EXPECT_EQ(printed("IF \"0\" THEN EXIT\nWRITE \"a\"\n"),
              "Exiting script...\nWarning, unmatched IF...THEN statment (no END or ENDIF)\n");
}

TEST_F(ControlFlowTest, ExitWithAnythingElseIsAnError) {
    EXPECT_EQ(run("EXIT now\nWRITE \"a\"\n"), 1);
    EXPECT_EQ(output(), report("EXIT now") + "Invalid exit command format\na\n");
}

// ---- BREAK ----

TEST_F(ControlFlowTest, BreakSetsWhetherTheInterruptKeyCounts) {
    run("BREAK ON\n");
    EXPECT_EQ(bcntrlc, 1);
    run("BREAK OFF\n");
    EXPECT_EQ(bcntrlc, 0);
    run("DOS BREAK ON\n");
    EXPECT_EQ(bcntrlc, 1);
    EXPECT_EQ(printed("WRITE \"the next script keeps it\"\n"), "the next script keeps it\n");
    EXPECT_EQ(bcntrlc, 1);
    run("DOS BREAK OFF\n");
    EXPECT_EQ(bcntrlc, 0);
    EXPECT_EQ(output(), "");
}

TEST_F(ControlFlowTest, ASkippedBreakDoesNothing) {
    run("IF \"1\" THEN\nBREAK ON\nDOS BREAK ON\nEND\n");
    EXPECT_EQ(bcntrlc, 0);
}

TEST_F(ControlFlowTest, BreakWithAnythingElseIsAnError) {
    EXPECT_EQ(printed("BREAK\nWRITE \"a\"\n"), report("WRITE \"a\"") + "Invalid break command format\na\n");
    EXPECT_EQ(printed("DOS BREAK MAYBE\nWRITE \"a\"\n"),
              report("DOS BREAK MAYBE") + "Invalid break command format\na\n");
    EXPECT_EQ(bcntrlc, 0);
}

// ---- remarks ----

TEST_F(ControlFlowTest, RemarksAreReadAndForgotten) {
    EXPECT_EQ(run("REMARK \"open ) %LOGIN_NAME\nREM\n  rem x\n* y\n** z\n\t;; w\n*\n;\nREMARK:\nWRITE \"a\"\n"), 0);
    EXPECT_EQ(output(), "a\n");
    EXPECT_THAT(spy::calls(), testing::IsEmpty());
}

TEST_F(ControlFlowTest, NothingInARemarkIsInterpreted) {
    EXPECT_EQ(printed("REM EXIT\n* EXIT\n; GOTO IF\nREMARK IF ) THEN\nWRITE \"a\"\n"), "a\n");
    EXPECT_EQ(condindex, 0);
}

TEST_F(ControlFlowTest, ARemarkMayBeTheSingleStatement) {
    EXPECT_EQ(run("IF \"1\" THEN REM x\nWRITE \"a\"\n"), 0);
    EXPECT_EQ(output(), "a\n");
}

TEST_F(ControlFlowTest, ARemarkIsPossibleOnlyAtTheStartOfAStatement) {
    EXPECT_EQ(printed("WRITE \"a\" REM x\n"), report("WRITE \"a\" REM x") + "Invalid write command format\n");
}

} // namespace
