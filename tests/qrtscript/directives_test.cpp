#include "tools/qrtscript/check/directives.h"

#include "tests/qrtscript/findings_of.h"

TEST(DirectivesTest, DisableIsForTheNextLine) {
    EXPECT_EQ(shown_of("FOO 1\nFOO 2\n"), "1:QS1001 2:QS1001");
    EXPECT_EQ(shown_of("REM qrtscript disable=QS1001\nFOO 1\nFOO 2\n"), "3:QS1001");
    EXPECT_EQ(shown_of("REM qrtscript disable=QS1002\nFOO 1\n"), "2:QS1001");
}

TEST(DirectivesTest, EmptyLinesAndRemarksMayStandBetween) {
    EXPECT_EQ(shown_of("REM qrtscript disable=QS1001\n\nREM why\n  \nFOO 1\nFOO 2\n"), "6:QS1001");
}

TEST(DirectivesTest, AnIfWithOneStatementIsOneLine) {
    EXPECT_EQ(shown_of("REM qrtscript disable=QS1008\nIF \"a\" = \"b\" THEN GOTO NO\nGOTO NO\n"), "3:QS1008");
}

TEST(DirectivesTest, OfABlockDisableIsForItsFirstLine) {
    EXPECT_EQ(shown_of("REM qrtscript disable=QS1001\nIF \"a\" = \"b\" THEN\nFOO 1\nEND\n"), "3:QS1001");
}

TEST(DirectivesTest, AMistakeAtTheEndOfTheScriptBelongsToTheLastLine) {
    EXPECT_EQ(shown_of("REM qrtscript disable=QS1016\nWRITE \"x\""), "");
}

TEST(DirectivesTest, DisableBlockReachesToTheEndOfItsBlock) {
    EXPECT_EQ(
        shown_of("IF \"a\" = \"b\" THEN\nFOO 1\nREM qrtscript disable-block=QS1001\nFOO 2\nIF \"a\" = \"b\" THEN\n"
                 "FOO 3\nELSE\nFOO 4\nEND\nFOO 5\nELSE\nFOO 6\nEND\nFOO 7\n"),
        "2:QS1001 14:QS1001");
}

TEST(DirectivesTest, OutsideOfBlocksDisableBlockReachesToTheEndOfTheScript) {
    EXPECT_EQ(shown_of("FOO 1\nREM qrtscript disable-block=QS1001\nIF \"a\" = \"b\" THEN\nFOO 2\nEND\nFOO 3\n"),
              "1:QS1001");
}

TEST(DirectivesTest, DisableFileIsForTheWholeScript) {
    EXPECT_EQ(shown_of("REM about this\n\nREM qrtscript disable-file=QS1001\nFOO 1\nFOO 2\nGOTO NO\n"), "6:QS1008");
}

TEST(DirectivesTest, DisableFileBelowAStatementIsAFinding) {
    EXPECT_EQ(shown_of("WRITE \"x\"\nREM qrtscript disable-file=QS1001\nFOO 1\n"), "2:QS0003 3:QS1001");
}

TEST(DirectivesTest, CanBeWrittenInManyWays) {
    for (const char *directive :
         {"REM qrtscript disable=QS1001,QS1008", "REMARK QRTSCRIPT DISABLE=qs1001,qs1008",
          "* qrtscript disable=QS1001 disable=QS1008", "; qrtscript disable=all",
          "\tREM \t qrtscript  disable=QS1001,QS1008 # the program comes with the image",
          "REM qrtscript disable=QS1001 disable-block=QS1008\r", "REM qrtscript disable=QS1008 disable-file=QS1001"})
        EXPECT_EQ(shown_of(directive + std::string("\nIF \"a\" = \"b\" THEN GOTO NO\nWRITE \"x\"\n")), "") << directive;
}

TEST(DirectivesTest, AnUnknownCodeIsAFindingAndTheOthersCount) {
    const std::string script = "REM qrtscript disable=QS1999,QS1001\nFOO 1\n";
    EXPECT_EQ(shown_of(script), "1:QS0001");
    const Findings findings = checked_script("a", script).findings;
    EXPECT_EQ(findings.at(0).message, "there is no code QS1999; did you mean QS1009?");
    EXPECT_EQ(script.substr(findings.at(0).place, findings.at(0).length), "QS1999");
}

TEST(DirectivesTest, WhatCannotBeReadIsAFinding) {
    for (const char *rest : {"disable", "disable=", "disable QS1001", "disabled=QS1001", "disable-line=QS1001",
                             "disable=QS1001 QS1008", "disable=QS1008 enable=QS1008"})
        EXPECT_EQ(shown_of("REM qrtscript " + std::string(rest) + "\n").substr(0, 8), "1:QS0002") << rest;
    EXPECT_EQ(shown_of("REM qrtscript disable=,QS1001\n"), "1:QS0001");
}

TEST(DirectivesTest, OrdinaryRemarksAreNone) {
    for (const char *line :
         {"REM", "REM qrtscript", "REM qrtscript checks this script", "REM about qrtscript disable=QS9",
          "REM qrtscripts disable=QS9", "WRITE \"REM qrtscript disable=QS9\""})
        EXPECT_EQ(shown_of(line + std::string("\n")), "") << line;
}

TEST(DirectivesTest, FindingsAboutDirectivesCanBeSwitchedOff) {
    EXPECT_EQ(shown_of("REM qrtscript disable-file=QS0001 disable=QS9999\n"), "");
}

TEST(DirectivesTest, NoIgnoreOverridesThem) {
    EXPECT_EQ(shown_of("REM qrtscript disable-file=all\nFOO 1\n", {}, {std::nullopt, true}), "2:QS1001");
}

// Each finding looks through joined ranges: what a hostile script could otherwise make endless.
TEST(DirectivesTest, ManyOfThemDoNotMultiply) {
    std::string script;
    for (int i = 0; i < 20000; ++i) script += "REM qrtscript disable-block=QS1008\nFOO 1\n";
    EXPECT_EQ(checked_script("a", script).findings.size(), 20000U);
}

TEST(DirectivesTest, ListsMayHaveBlanksBehindCommas) {
    EXPECT_EQ(shown_of("REM qrtscript disable=QS1008, QS1001\nFOO 1\n"), "");
    EXPECT_EQ(shown_of("REM qrtscript disable=QS1008 ,QS1001\nFOO 1\n"), "1:QS0002 2:QS1001");
    const auto message = [](const std::string &text) { return checked_script("a", text).findings.at(0).message; };
    EXPECT_EQ(message("REM qrtscript disable=QS1008, # why\n"), "a code is missing beside the comma");
    EXPECT_EQ(message("REM qrtscript disable=,QS1008\n"), "a code is missing beside the comma");
}
