// The exact values that conditions and levels leave in the exported variables, and the edges of the levels.
#include "tests/unit/session_fixture.h"

namespace {

class ConditionsBoundsTest : public ScriptTest {
  protected:
    static int32_t compared(Comparison comparison, const char *left, const char *right) {
        return cond_compare(comparison, cond_string_operand(text_copy(left)), text_copy(right));
    }
};

TEST_F(ConditionsBoundsTest, TrueIsZeroAndFalseIsOne) {
    EXPECT_EQ(compared(COMPARE_EQUAL, "a", "A"), 0);
    EXPECT_EQ(compared(COMPARE_EQUAL, "a", "b"), 1);
    EXPECT_EQ(cond_bare(text_copy("0")), 0);
    EXPECT_EQ(cond_bare(text_copy("1")), 1);
    EXPECT_EQ(cond_or(1, 1), 1);
    EXPECT_EQ(cond_and(1, 0), 1);
    EXPECT_EQ(cond_nor(0, 1), 1);
}

TEST_F(ConditionsBoundsTest, ASkippedLevelHoldsOne) {
    run("IF \"1\" THEN\n");
    EXPECT_EQ(condstate[1], 1);
    run("IF \"0\" THEN\nIF \"0\" THEN\n");
    EXPECT_EQ(condstate[1], 0);
    EXPECT_EQ(condstate[2], 0);
    run("IF )\n");
    EXPECT_EQ(condstate[1], 1);
    run("IF \"0\" THEN\nELSE\n");
    EXPECT_EQ(condstate[1], 1);
    run("IF \"1\" THEN\nELSE\n");
    EXPECT_EQ(condstate[1], 0);
}

TEST_F(ConditionsBoundsTest, ValueCountsForItsOwnComparisonOnly) {
    cond_numeric_operand(text_copy("1"));
    EXPECT_EQ(valuestate, 1);
    cond_string_operand(text_copy("1"));
    EXPECT_EQ(valuestate, 0);
    run("IF VALUE \"0\" THEN\nEND\n");
    EXPECT_EQ(valuestate, 0);
    run("IF VALUE \"0\" = \"0\" THEN\nEND\n");
    EXPECT_EQ(valuestate, 0);
}

TEST_F(ConditionsBoundsTest, AnElseInABlockBelowASkippedLevelZeroStaysSkipped) {
    EXPECT_EQ(printed("ELSE\nIF \"0\" THEN\nWRITE \"a\"\nELSE\nWRITE \"b\"\nEND\nWRITE \"c\"\n"), "");
}

TEST_F(ConditionsBoundsTest, ASecondStrayElseTurnsTheScriptBack) {
    EXPECT_EQ(printed("ELSE\nWRITE \"a\"\nELSE\nWRITE \"b\"\n"), "b\n");
}

TEST_F(ConditionsBoundsTest, BlocksLeftOpenTooDeepAreForgottenByTheNextScript) {
    std::string script;
    for (int i = 0; i < cond_levels + 5; i++) script += "IF \"0\" THEN\n";
    EXPECT_EQ(run(script), 1);
    output();
    EXPECT_EQ(printed("WRITE \"next\"\n"), "next\n");
}

TEST_F(ConditionsBoundsTest, TheLastLevelThatFitsExecutes) {
    std::string script, ends;
    for (int i = 0; i < cond_levels - 1; i++) {
        script += "IF \"0\" THEN\n";
        ends += "END\n";
    }
    EXPECT_EQ(run(script + "WRITE \"in\"\n" + ends + "WRITE \"out\"\n"), 0);
    EXPECT_EQ(output(), "in\nout\n");
}

} // namespace
