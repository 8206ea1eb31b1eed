#include "script/conditions.h"

#include "tests/unit/session_fixture.h"

namespace {

using testing::HasSubstr;
using testing::Not;

class ConditionsTest : public ScriptTest {
  protected:
    // Whether IF `condition` runs its block.
    bool holds(const std::string &condition) {
        const std::string text = printed("IF " + condition + " THEN\nWRITE \"yes\"\nELSE\nWRITE \"no\"\nEND\n");
        EXPECT_THAT(text, testing::AnyOf("yes\n", "no\n")) << condition;
        return text == "yes\n";
    }
};

// ---- comparisons ----

struct Compare {
    const char *operation;
    // Whether it holds for a left side that is less than, equal to and greater than the right one.
    bool texts[3];
    bool numbers[3];
};

static const Compare operators[] = {
    {"=", {false, true, false}, {false, true, false}},
    {"==", {false, true, false}, {false, true, false}},
    {"EQUAL", {false, true, false}, {false, true, false}},
    {"EQUALS", {false, true, false}, {false, true, false}},
    {"IS", {false, true, false}, {false, true, false}},
    {"<>", {true, false, true}, {true, false, true}},
    {"!=", {true, false, true}, {true, false, true}},
    {"NOT EQUALS", {true, false, true}, {true, false, true}},
    {">", {false, false, true}, {false, false, true}},
    {"GREATER THAN", {false, false, true}, {false, false, true}},
    {">=", {false, true, true}, {false, true, true}},
    {"<", {true, false, false}, {true, false, false}},
    {"LESS THAN", {true, false, false}, {true, false, false}},
    {"<=", {true, true, false}, {false, true, false}}, // as numbers: equality alone
};

TEST_F(ConditionsTest, TextsCompareIgnoringCase) {
    static const char *const pairs[3][2] = {{"apple", "BANANA"}, {"Same", "sAME"}, {"C", "b"}};
    for (const Compare &row : operators)
        for (int i = 0; i < 3; i++) {
            const std::string left = pairs[i][0], right = pairs[i][1];
            EXPECT_EQ(holds("\"" + left + "\" " + row.operation + " \"" + right + "\""), row.texts[i])
                << left << row.operation << right;
        }
}

TEST_F(ConditionsTest, NumbersCompareAfterValue) {
    static const char *const pairs[3][2] = {{"5", "10"}, {"7", "+7"}, {"10", "9"}};
    for (const Compare &row : operators)
        for (int i = 0; i < 3; i++) {
            const std::string left = pairs[i][0], right = pairs[i][1];
            EXPECT_EQ(holds("VALUE \"" + left + "\" " + row.operation + " \"" + right + "\""), row.numbers[i])
                << left << row.operation << right;
        }
}

TEST_F(ConditionsTest, OperatorsMayBeWrittenApart) {
    EXPECT_TRUE(holds("\"a\" = = \"A\""));
    EXPECT_TRUE(holds("\"a\" < > \"b\""));
    EXPECT_TRUE(holds("\"a\" ! = \"b\""));
    EXPECT_TRUE(holds("\"b\" > = \"a\""));
    EXPECT_TRUE(holds("\"a\" < = \"b\""));
}

TEST_F(ConditionsTest, ThereAreNoOtherOperators) {
    for (const char *operation : {"NOT EQUAL", "IS NOT", "NOT IS", "=>", "=<", "><", "!", "<=>", "===", "!==",
                                  "GREATER", "LESS", "GREATER THAN OR EQUAL", "LESS THAN =", "THAN", "EQUAL TO"}) {
        const std::string line = std::string("IF \"a\" ") + operation + " \"b\" THEN";
        EXPECT_EQ(printed(line + "\nWRITE \"x\"\nEND\n"), report(line) + "Invalid if statement \n");
    }
}

TEST_F(ConditionsTest, KeywordOperatorsIgnoreCase) {
    EXPECT_TRUE(holds("\"a\" is \"A\""));
    EXPECT_TRUE(holds("value \"5\" greater than \"4\""));
}

TEST_F(ConditionsTest, FiveIsAboveTenAsTextAndBelowAsNumber) {
    EXPECT_TRUE(holds("\"5\" > \"10\""));
    EXPECT_FALSE(holds("VALUE \"5\" > \"10\""));
}

TEST_F(ConditionsTest, NumericLessOrEqualTestsEqualityAlone) {
    EXPECT_FALSE(holds("VALUE \"3\" <= \"5\""));
    EXPECT_TRUE(holds("VALUE \"5\" <= \"5\""));
    EXPECT_TRUE(holds("\"3\" <= \"5\""));
}

TEST_F(ConditionsTest, NumbersStopAtTheFirstNonDigit) {
    EXPECT_TRUE(holds("VALUE \"12abc\" = \"12\""));
    EXPECT_TRUE(holds("VALUE \"  -3\" = \"-3.9\""));
    EXPECT_TRUE(holds("VALUE \"abc\" = \"0\""));
    EXPECT_TRUE(holds("VALUE \"\" = \"0\""));
    EXPECT_TRUE(holds("VALUE \"0x10\" = \"0\""));
    EXPECT_TRUE(holds("VALUE \"010\" = \"10\""));
}

TEST_F(ConditionsTest, NumbersAreCutToThirtyTwoBits) {
    EXPECT_TRUE(holds("VALUE \"4294967297\" = \"1\""));
    EXPECT_TRUE(holds("VALUE \"2147483648\" < \"0\""));
}

TEST_F(ConditionsTest, ValueHoldsForOneComparisonOnly) {
    EXPECT_TRUE(holds("VALUE \"5\" < \"10\""));
    EXPECT_EQ(valuestate, 0);
    EXPECT_TRUE(holds("VALUE \"5\" < \"10\" AND \"5\" > \"10\""));
    EXPECT_TRUE(holds("\"5\" > \"10\" AND VALUE \"5\" < \"10\""));
    valuestate = 1; // as a comparison that was never finished leaves it
    EXPECT_TRUE(holds("\"5\" > \"10\""));
}

TEST_F(ConditionsTest, LettersFoldAndOtherBytesKeepTheirOrder) {
    EXPECT_TRUE(holds("\"_\" < \"A\"")); // letters count as their lower case
    EXPECT_TRUE(holds("\"\xc4\" <> \"\xe4\""));
    EXPECT_TRUE(holds("\"\xff\" > \"z\""));
    EXPECT_TRUE(holds("\"a\" < \"ab\""));
    EXPECT_TRUE(holds("\"\" < \"a\""));
}

TEST_F(ConditionsTest, AnEmptySideIsAnEmptyText) {
    EXPECT_TRUE(holds("(\"\" =)"));
    EXPECT_FALSE(holds("(\"x\" =)"));
    EXPECT_TRUE(holds("= \"\""));
    EXPECT_TRUE(holds("(=)"));
}

TEST_F(ConditionsTest, OperandsAreWholeTexts) {
    EXPECT_TRUE(holds("\"a\";\"b\" = \"AB\""));
    EXPECT_TRUE(holds("\"2\" + \"3\" = \"5\""));
    EXPECT_TRUE(holds("LOGIN_NAME = \"JDOE\""));
    EXPECT_TRUE(holds("%LOGIN_NAME IS \"jdoe\""));
    EXPECT_TRUE(holds("\"%LOGIN_NAME\" == \"jdoe\""));
}

// ---- a text that stands alone ----

TEST_F(ConditionsTest, ABareTextIsTrueOnlyWhenItIsZero) {
    EXPECT_TRUE(holds("\"0\""));
    EXPECT_FALSE(holds("\"1\""));
    EXPECT_FALSE(holds("\"YES\""));
    EXPECT_FALSE(holds("\"\""));
    EXPECT_FALSE(holds("\"00\""));
    EXPECT_FALSE(holds("VALUE \"00\""));
    EXPECT_TRUE(holds("VALUE \"0\""));
}

TEST_F(ConditionsTest, MemberOfIsACondition) {
    spy::text_attribute(user, "Group Membership", {"Staff.sales.acme"});
    EXPECT_TRUE(holds("MEMBER OF \"Staff\""));
    EXPECT_FALSE(holds("NOT MEMBER OF \"Staff\""));
    EXPECT_FALSE(holds("MEMBER OF \"Bosses\""));
    EXPECT_TRUE(holds("NOT MEMBER OF \"Bosses\""));
    EXPECT_TRUE(holds("MEMBER OF \"Bosses\" OR MEMBER OF \"Staff\""));
}

// ---- AND, OR, NOR ----

TEST_F(ConditionsTest, OperatorsCombineConditions) {
    static const char *const truth[] = {"\"1\"", "\"0\""}; // false, true
    for (int a = 0; a < 2; a++)
        for (int b = 0; b < 2; b++) {
            const std::string left = truth[a], right = truth[b];
            EXPECT_EQ(holds(left + " OR " + right), a || b);
            EXPECT_EQ(holds(left + " AND " + right), a && b);
            EXPECT_EQ(holds(left + " NOR " + right), !a && !b);
        }
}

struct Grouping {
    const char *condition;
    bool result;
};

// T is true, F is false.
TEST_F(ConditionsTest, OperatorsGroupToTheRightWithoutPrecedence) {
    static const Grouping rows[] = {
        {"T OR F AND F", true},        // T OR (F AND F)
        {"F AND F OR T", false},       // F AND (F OR T)
        {"F AND T OR T", false},       // left to right it would be true
        {"(F AND T) OR T", true},      //
        {"T NOR F AND F", false},      // T NOR (F AND F)
        {"F NOR T NOR T", true},       // F NOR (T NOR T)
        {"(F NOR T) NOR T", false},    //
        {"F OR T AND F OR T", true},   // F OR (T AND (F OR T))
        {"T AND F OR T AND F", false}, // T AND (F OR (T AND F))
        {"((T))", true},
        {"((F) OR (T)) AND (T)", true},
    };
    for (const Grouping &row : rows) {
        std::string condition;
        for (const char *c = row.condition; *c; c++) {
            const bool single = (c == row.condition || strchr(" (", c[-1])) && strchr(" )", c[1]);
            condition += single && *c == 'T' ? "\"0\"" : single && *c == 'F' ? "\"1\"" : std::string(1, *c);
        }
        EXPECT_EQ(holds(condition), row.result) << row.condition;
    }
}

TEST_F(ConditionsTest, ComparisonsBindCloserThanOperators) {
    const std::string text = "\"A\" = \"x\" OR \"C\" = \"C\" AND \"E\" = ";
    EXPECT_TRUE(holds(text + "\"E\""));
    EXPECT_FALSE(holds(text + "\"F\""));
    EXPECT_TRUE(holds("\"A\" = \"A\" OR \"C\" = \"D\" AND \"E\" = \"F\""));
}

TEST_F(ConditionsTest, BothSidesAreAlwaysEvaluated) {
    spy::text_attribute(user, "Group Membership", {"Staff.sales.acme"});
    holds("\"0\" OR MEMBER OF \"Staff\"");
    EXPECT_EQ(spy::calls("ZKDSRead").size(), 1U);
    holds("\"1\" AND MEMBER OF \"Staff\"");
    EXPECT_EQ(spy::calls("ZKDSRead").size(), 2U);
}

TEST_F(ConditionsTest, EachResultIsTraced) {
    const auto script = [this] { run("IF \"0\" AND \"1\" THEN\nEND\n"); };
    const std::string shown = traces(4, script);
    const size_t first = shown.find("conditional result TRUE\n");
    ASSERT_NE(first, std::string::npos);
    const size_t second = shown.find("conditional result FALSE\n", first);
    ASSERT_NE(second, std::string::npos);
    EXPECT_NE(shown.find("conditional result FALSE\n", second + 1), std::string::npos);
}

// ---- blocks and levels ----

class LevelsTest : public ScriptTest {
  protected:
    static std::string repeat(int count, const std::string &text) {
        std::string all;
        while (count-- > 0) all += text;
        return all;
    }
};

struct Block {
    const char *script;
    const char *output;
};

TEST_F(LevelsTest, BlocksRunOrAreSkipped) {
    static const Block rows[] = {
        {"IF \"0\" THEN\nWRITE \"a\"\nEND\nWRITE \"z\"\n", "a\nz\n"},
        {"IF \"1\" THEN\nWRITE \"a\"\nEND\nWRITE \"z\"\n", "z\n"},
        {"IF \"1\" THEN\nWRITE \"a\"\nENDIF\nWRITE \"z\"\n", "z\n"},
        {"IF \"1\" THEN BEGIN\nWRITE \"a\"\nEND\nWRITE \"z\"\n", "z\n"},
        {"IF \"1\" THEN DO\nWRITE \"a\"\nEND\nWRITE \"z\"\n", "z\n"},
        {"IF \"0\" THEN BEGIN\nWRITE \"a\"\nWRITE \"b\"\nEND\n", "a\nb\n"},
        {"IF \"1\" THEN\nWRITE \"a\"\nELSE\nWRITE \"b\"\nEND\nWRITE \"z\"\n", "b\nz\n"},
        {"IF \"0\" THEN\nWRITE \"a\"\nELSE\nWRITE \"b\"\nEND\nWRITE \"z\"\n", "a\nz\n"},
        {"IF \"1\"\r\n\r\nWRITE \"a\"\r\nWRITE \"b\"\r\nEND\r\nWRITE \"z\"\r\n", "z\n"},
    };
    for (const Block &row : rows) EXPECT_EQ(printed(row.script), row.output) << row.script;
    EXPECT_EQ(condindex, 0);
}

TEST_F(LevelsTest, ASingleStatementIsConditionalAlone) {
    static const Block rows[] = {
        {"IF \"0\" THEN WRITE \"a\"\nWRITE \"z\"\n", "a\nz\n"},
        {"IF \"1\" THEN WRITE \"a\"\nWRITE \"z\"\n", "z\n"},
        {"IF \"1\" THEN BEGIN WRITE \"a\"\nWRITE \"z\"\n", "z\n"},
        {"IF \"1\" THEN DO WRITE \"a\"\nWRITE \"z\"\n", "z\n"},
        {"IF \"0\"\nWRITE \"a\"\nWRITE \"z\"\n", "a\nz\n"},
        {"IF \"1\"\nWRITE \"a\"\nWRITE \"z\"\n", "z\n"},
        {"IF \"0\" THEN IF \"1\" THEN WRITE \"a\"\nWRITE \"z\"\n", "z\n"},
        {"IF \"1\" THEN IF \"0\" THEN WRITE \"a\"\nWRITE \"z\"\n", "z\n"},
        {"IF \"0\" THEN IF \"0\" THEN WRITE \"a\"\nWRITE \"z\"\n", "a\nz\n"},
    };
    for (const Block &row : rows) {
        EXPECT_EQ(run(row.script), 0) << row.script;
        EXPECT_EQ(output(), row.output) << row.script;
        EXPECT_EQ(condindex, 0) << row.script;
    }
}

// The level of the single statement is left as soon as that statement is read, which a block's first line is: the block
// has the state of the condition before it.
TEST_F(LevelsTest, ABlockAsTheSingleStatementRunsByTheConditionBeforeIt) {
    static const Block rows[] = {
        {"IF \"0\" THEN IF \"1\" THEN\nWRITE \"a\"\nEND\nWRITE \"z\"\n", "a\nz\n"},
        {"IF \"1\" THEN IF \"0\" THEN\nWRITE \"a\"\nEND\nWRITE \"z\"\n", "z\n"},
        {"IF \"0\" THEN IF \"1\" THEN\nWRITE \"a\"\nELSE\nWRITE \"b\"\nEND\nWRITE \"z\"\n", "a\nz\n"},
        {"IF \"1\" THEN IF \"1\" THEN\nWRITE \"a\"\nELSE\nWRITE \"b\"\nEND\nWRITE \"z\"\n", "b\nz\n"},
    };
    for (const Block &row : rows) {
        EXPECT_EQ(run(row.script), 0) << row.script;
        EXPECT_EQ(output(), row.output) << row.script;
        EXPECT_EQ(condindex, 0) << row.script;
    }
}

TEST_F(LevelsTest, AnElseAsTheSingleStatementTurnsItsOwnLevelAlone) {
    EXPECT_EQ(printed("IF \"1\" THEN ELSE\nWRITE \"a\"\nIF \"0\" THEN ELSE\nWRITE \"b\"\n"), "a\nb\n");
    EXPECT_EQ(condindex, 0);
    EXPECT_EQ(condstate[0], 0);
}

TEST_F(LevelsTest, AnIfLineFollowedByAnEmptyLineOpensABlock) {
    EXPECT_EQ(printed("IF \"1\"\n\nWRITE \"a\"\nWRITE \"b\"\nEND\nWRITE \"z\"\n"), "z\n");
    EXPECT_EQ(printed("IF \"0\"\n\nWRITE \"a\"\nELSE\nWRITE \"b\"\nEND\n"), "a\n");
}

TEST_F(LevelsTest, NestedBlocksInAFalseBlockStaySkippedWithTheirElse) {
    EXPECT_EQ(printed("IF \"1\" THEN\nIF \"0\" THEN\nWRITE \"a\"\nELSE\nWRITE \"b\"\nEND\n"
                      "IF \"1\" THEN\nWRITE \"c\"\nELSE\nWRITE \"d\"\nEND\nELSE\nWRITE \"e\"\nEND\n"),
              "e\n");
}

TEST_F(LevelsTest, ElseMayTurnALevelAgain) {
    EXPECT_EQ(printed("IF \"1\" THEN\nWRITE \"a\"\nELSE\nWRITE \"b\"\nELSE\nWRITE \"c\"\nELSE\nWRITE \"d\"\nEND\n"),
              "b\nd\n");
}

TEST_F(LevelsTest, ElseAfterASingleStatementIfTurnsTheCurrentLevel) {
    EXPECT_EQ(printed("IF \"0\" THEN\nIF \"1\" THEN WRITE \"a\"\nELSE\nWRITE \"b\"\nEND\nWRITE \"z\"\n"), "z\n");
}

TEST_F(LevelsTest, AStrayElseSkipsTheRestAndEndCannotUndoIt) {
    EXPECT_EQ(run("WRITE \"a\"\nELSE\nWRITE \"b\"\nEND\nWRITE \"c\"\nIF \"0\" THEN\nWRITE \"d\"\nEND\n"), 0);
    EXPECT_EQ(output(), "a\n");
}

TEST_F(LevelsTest, ASecondStrayElseExecutesAgain) {
    EXPECT_EQ(printed("ELSE\nWRITE \"a\"\nELSE\nWRITE \"b\"\n"), "b\n");
}

TEST_F(LevelsTest, LevelZeroKeepsItsStateFromScriptToScript) {
    run("ELSE\n");
    EXPECT_EQ(printed("WRITE \"a\"\n"), "");
    EXPECT_EQ(printed("ELSE\nWRITE \"b\"\n"), "b\n");
}

TEST_F(LevelsTest, EndAtLevelZeroDoesNothing) {
    EXPECT_EQ(run("END\nENDIF\nEND\nWRITE \"a\"\n"), 0);
    EXPECT_EQ(output(), "a\n");
    EXPECT_EQ(condindex, 0);
}

TEST_F(LevelsTest, AnEndAsTheSingleStatementLeavesNoLevelBelowZero) {
    EXPECT_EQ(run("IF \"0\" THEN END\nWRITE \"a\"\n"), 0);
    EXPECT_EQ(output(), "a\n");
    EXPECT_EQ(condindex, 0);
}

TEST_F(LevelsTest, AnUnreadableConditionSkipsItsBlock) {
    EXPECT_EQ(run("IF ) THEN\nWRITE \"a\"\nEND\nWRITE \"z\"\n"), 1);
    EXPECT_EQ(output(), report("IF ) THEN") + "Invalid if statement \nz\n");
}

TEST_F(LevelsTest, AnUnreadableConditionWithItsStatementSkipsWhatFollowsToo) {
    EXPECT_EQ(printed("IF ) THEN WRITE \"a\"\nWRITE \"b\"\nEND\nWRITE \"z\"\n"),
              report("IF ) THEN WRITE \"a\"") + "Invalid if statement \nz\n");
}

TEST_F(LevelsTest, AnUnreadableConditionsElseExecutes) {
    EXPECT_EQ(printed("IF ) THEN\nWRITE \"a\"\nELSE\nWRITE \"b\"\nEND\n"),
              report("IF ) THEN") + "Invalid if statement \nb\n");
}

TEST_F(LevelsTest, ASkippedUnreadableConditionIsNotReportedAsOne) {
    EXPECT_EQ(printed("IF \"1\" THEN\nIF ) THEN\nWRITE \"a\"\nELSE\nWRITE \"b\"\nEND\nEND\nWRITE \"z\"\n"),
              report("IF ) THEN") + "z\n");
}

TEST_F(LevelsTest, ABlockWithoutEndIsReportedAtTheEnd) {
    EXPECT_EQ(run("IF \"0\" THEN\nWRITE \"a\"\n"), 1);
    EXPECT_EQ(output(), "a\nWarning, unmatched IF...THEN statment (no END or ENDIF)\n");
    EXPECT_EQ(printed("WRITE \"b\"\n"), "b\n"); // the next script starts at level 0
}

TEST_F(LevelsTest, ABlockWithoutEndIsNotReportedAfterAGoto) {
    EXPECT_EQ(run("IF \"0\" THEN\nGOTO NOWHERE\nWRITE \"a\"\n"), 0);
    EXPECT_EQ(output(), "a\n");
}

TEST_F(LevelsTest, AHundredAndNinetyNineLevelsNest) {
    EXPECT_EQ(run(repeat(199, "IF \"0\" THEN\n") + "WRITE \"deep\"\n" + repeat(199, "END\n") + "WRITE \"z\"\n"), 0);
    EXPECT_EQ(output(), "deep\nz\n");
}

TEST_F(LevelsTest, TheTwoHundredthLevelIsASyntaxErrorAndItsBlockSkipped) {
    EXPECT_EQ(run(repeat(199, "IF \"0\" THEN\n") + "IF \"0\" THEN\nWRITE \"x\"\nELSE\nWRITE \"y\"\nEND\n" +
                  "WRITE \"deep\"\n" + repeat(199, "END\n") + "WRITE \"z\"\n"),
              1);
    EXPECT_EQ(output(), report("WRITE \"x\"") + "deep\nz\n");
}

} // namespace
