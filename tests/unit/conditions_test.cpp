#include "script/conditions.h"

#include "tests/unit/session_fixture.h"

namespace {

class ConditionsTest : public ScriptTest {
  protected:
    // Whether IF `condition` runs its block.
    bool is_true(const std::string &condition) {
        const std::string text = printed("IF " + condition + " THEN\nWRITE \"yes\"\nELSE\nWRITE \"no\"\nEND\n");
        EXPECT_THAT(text, AnyOf("yes\n", "no\n")) << condition;
        return text == "yes\n";
    }
    static int32_t compared(Comparison comparison, const char *left, const char *right) {
        return cond_compare(comparison, cond_string_operand(text_copy(left)), text_copy(right));
    }
};

struct Compare {
    const char *operation;
    // Whether it is true for a left side that is less than, equal to and greater than the right one.
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

TEST_F(ConditionsTest, TextsCompareIgnoringCaseAndNumbersAfterValue) {
    static const char *const texts[3][2] = {{"apple", "BANANA"}, {"Same", "sAME"}, {"C", "b"}};
    static const char *const numbers[3][2] = {{"5", "10"}, {"7", "+7"}, {"10", "9"}};
    const auto comparison = [](const char *const pair[2], const char *operation) {
        return std::string("\"") + pair[0] + "\" " + operation + " \"" + pair[1] + "\"";
    };
    for (const Compare &row : operators)
        for (int i = 0; i < 3; i++) {
            EXPECT_EQ(is_true(comparison(texts[i], row.operation)), row.texts[i]) << i << row.operation;
            EXPECT_EQ(is_true("VALUE " + comparison(numbers[i], row.operation)), row.numbers[i]) << i << row.operation;
        }
}

TEST_F(ConditionsTest, ThereAreNoOtherOperators) {
    for (const char *operation : {"NOT EQUAL", "IS NOT", "NOT IS", "=>", "=<", "><", "!", "<=>", "===", "!==",
                                  "GREATER", "LESS", "GREATER THAN OR EQUAL", "LESS THAN =", "THAN", "EQUAL TO"}) {
        const std::string line = std::string("IF \"a\" ") + operation + " \"b\" THEN";
        EXPECT_EQ(printed(line + "\nWRITE \"x\"\nEND\n"), report(line) + "Invalid if statement \n");
    }
}

TEST_F(ConditionsTest, EachIsTrueOrFalse) {
    spy::text_attribute(user, "Group Membership", {"Staff.sales.acme"});
    const struct {
        const char *behaviour;
        std::vector<const char *> are_true, are_false;
    } rows[] = {
        {"operators may be written apart",
         {"\"a\" = = \"A\"", "\"a\" < > \"b\"", "\"a\" ! = \"b\"", "\"b\" > = \"a\"", "\"a\" < = \"b\""},
         {}},
        {"keyword operators ignore case", {"\"a\" is \"A\"", "value \"5\" greater than \"4\""}, {}},
        {"5 is above 10 as text and below as number", {"\"5\" > \"10\""}, {"VALUE \"5\" > \"10\""}},
        {"the numeric <= tests equality alone", {"VALUE \"5\" <= \"5\"", "\"3\" <= \"5\""}, {"VALUE \"3\" <= \"5\""}},
        {"numbers stop at the first non-digit",
         {"VALUE \"12abc\" = \"12\"", "VALUE \"  -3\" = \"-3.9\"", "VALUE \"abc\" = \"0\"", "VALUE \"\" = \"0\"",
          "VALUE \"0x10\" = \"0\"", "VALUE \"010\" = \"10\""},
         {}},
        {"numbers are cut to 32 bits", {"VALUE \"4294967297\" = \"1\"", "VALUE \"2147483648\" < \"0\""}, {}},
        {"VALUE counts for one comparison only",
         {"VALUE \"5\" < \"10\"", "VALUE \"5\" < \"10\" AND \"5\" > \"10\"", "\"5\" > \"10\" AND VALUE \"5\" < \"10\""},
         {}},
        {"letters fold to lower case and other bytes keep their order",
         {"\"_\" < \"A\"", "\"\xc4\" <> \"\xe4\"", "\"\xff\" > \"z\"", "\"a\" < \"ab\"", "\"\" < \"a\""},
         {}},
        {"an empty side is an empty text", {"(\"\" =)", "= \"\"", "(=)"}, {"(\"x\" =)"}},
        {"operands are whole texts",
         {"\"a\";\"b\" = \"AB\"", "\"2\" + \"3\" = \"5\"", "LOGIN_NAME = \"JDOE\"", "%LOGIN_NAME IS \"jdoe\"",
          "\"%LOGIN_NAME\" == \"jdoe\""},
         {}},
        {"a bare text is true only when it is zero",
         {"\"0\"", "VALUE \"0\""},
         {"\"1\"", "\"YES\"", "\"\"", "\"00\"", "VALUE \"00\""}},
        {"MEMBER OF is a condition",
         {"MEMBER OF \"Staff\"", "NOT MEMBER OF \"Bosses\"", "MEMBER OF \"Bosses\" OR MEMBER OF \"Staff\""},
         {"NOT MEMBER OF \"Staff\"", "MEMBER OF \"Bosses\""}},
        {"comparisons bind closer than operators",
         {"\"A\" = \"x\" OR \"C\" = \"C\" AND \"E\" = \"E\"", "\"A\" = \"A\" OR \"C\" = \"D\" AND \"E\" = \"F\""},
         {"\"A\" = \"x\" OR \"C\" = \"C\" AND \"E\" = \"F\""}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.behaviour);
        for (const char *condition : row.are_true) EXPECT_TRUE(is_true(condition)) << condition;
        for (const char *condition : row.are_false) EXPECT_FALSE(is_true(condition)) << condition;
    }
}

TEST_F(ConditionsTest, ValueCountsForItsOwnComparisonOnly) {
    cond_numeric_operand(text_copy("1"));
    EXPECT_EQ(valuestate, 1);
    cond_string_operand(text_copy("1"));
    EXPECT_EQ(valuestate, 0);
    for (const char *condition : {"VALUE \"0\"", "VALUE \"0\" = \"0\"", "VALUE \"5\" < \"10\""}) {
        is_true(condition);
        EXPECT_EQ(valuestate, 0) << condition;
    }
    valuestate = 1; // as a comparison that was never finished leaves it
    EXPECT_TRUE(is_true("\"5\" > \"10\""));
}

TEST_F(ConditionsTest, TrueIsZeroAndFalseIsOne) {
    EXPECT_EQ(compared(COMPARE_EQUAL, "a", "A"), 0);
    EXPECT_EQ(compared(COMPARE_EQUAL, "a", "b"), 1);
    EXPECT_EQ(cond_bare(text_copy("0")), 0);
    EXPECT_EQ(cond_bare(text_copy("1")), 1);
    EXPECT_EQ(cond_or(1, 1), 1);
    EXPECT_EQ(cond_and(1, 0), 1);
    EXPECT_EQ(cond_nor(0, 1), 1);
}

// T is true, F is false.
TEST_F(ConditionsTest, OperatorsGroupToTheRightWithoutPrecedence) {
    const struct {
        const char *condition;
        bool result;
    } rows[] = {
        {"T OR T", true},
        {"T OR F", true},
        {"F OR T", true},
        {"F OR F", false},
        {"T AND T", true},
        {"T AND F", false},
        {"F AND T", false},
        {"F AND F", false},
        {"T NOR T", false},
        {"T NOR F", false},
        {"F NOR T", false},
        {"F NOR F", true},
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
    for (const auto &row : rows) {
        std::string condition;
        for (const char *c = row.condition; *c; c++) {
            const bool single = (c == row.condition || strchr(" (", c[-1])) && strchr(" )", c[1]);
            condition += single && *c == 'T' ? "\"0\"" : single && *c == 'F' ? "\"1\"" : std::string(1, *c);
        }
        EXPECT_EQ(is_true(condition), row.result) << row.condition;
    }
}

TEST_F(ConditionsTest, BothSidesAreAlwaysEvaluated) {
    spy::text_attribute(user, "Group Membership", {"Staff.sales.acme"});
    is_true("\"0\" OR MEMBER OF \"Staff\"");
    EXPECT_EQ(spy::calls("ZKDSRead").size(), 1U);
    is_true("\"1\" AND MEMBER OF \"Staff\"");
    EXPECT_EQ(spy::calls("ZKDSRead").size(), 2U);
}

TEST_F(ConditionsTest, EachResultIsTraced) {
    EXPECT_THAT(
        trace_texts(4, [this] { run("IF \"0\" AND \"1\" THEN\nEND\n"); }),
        testing::IsSupersetOf({"conditional result TRUE", "conditional result FALSE", "conditional result FALSE"}));
}

class LevelsTest : public ScriptTest {};

TEST_F(LevelsTest, BlocksRunOrAreSkipped) {
    const ScriptRow rows[] = {
        {"a true block runs", "IF \"0\" THEN\nWRITE \"a\"\nEND\nWRITE \"z\"\n", "a\nz\n"},
        {"a false one is skipped", "IF \"1\" THEN\nWRITE \"a\"\nEND\nWRITE \"z\"\n", "z\n"},
        {"ENDIF", "IF \"1\" THEN\nWRITE \"a\"\nENDIF\nWRITE \"z\"\n", "z\n"},
        {"THEN BEGIN", "IF \"1\" THEN BEGIN\nWRITE \"a\"\nEND\nWRITE \"z\"\n", "z\n"},
        {"THEN DO", "IF \"1\" THEN DO\nWRITE \"a\"\nEND\nWRITE \"z\"\n", "z\n"},
        {"several statements", "IF \"0\" THEN BEGIN\nWRITE \"a\"\nWRITE \"b\"\nEND\n", "a\nb\n"},
        {"ELSE runs", "IF \"1\" THEN\nWRITE \"a\"\nELSE\nWRITE \"b\"\nEND\nWRITE \"z\"\n", "b\nz\n"},
        {"ELSE is skipped", "IF \"0\" THEN\nWRITE \"a\"\nELSE\nWRITE \"b\"\nEND\nWRITE \"z\"\n", "a\nz\n"},
        {"no THEN", "IF \"1\"\r\n\r\nWRITE \"a\"\r\nWRITE \"b\"\r\nEND\r\nWRITE \"z\"\r\n", "z\n"},
        {"an IF line followed by an empty line opens a block",
         "IF \"1\"\n\nWRITE \"a\"\nWRITE \"b\"\nEND\nWRITE \"z\"\n", "z\n"},
        {"the same with an ELSE", "IF \"0\"\n\nWRITE \"a\"\nELSE\nWRITE \"b\"\nEND\n", "a\n"},
        {"a single statement alone is conditional", "IF \"0\" THEN WRITE \"a\"\nWRITE \"z\"\n", "a\nz\n"},
        {"skipped", "IF \"1\" THEN WRITE \"a\"\nWRITE \"z\"\n", "z\n"},
        {"behind THEN BEGIN", "IF \"1\" THEN BEGIN WRITE \"a\"\nWRITE \"z\"\n", "z\n"},
        {"behind THEN DO", "IF \"1\" THEN DO WRITE \"a\"\nWRITE \"z\"\n", "z\n"},
        {"on the next line", "IF \"0\"\nWRITE \"a\"\nWRITE \"z\"\n", "a\nz\n"},
        {"skipped there", "IF \"1\"\nWRITE \"a\"\nWRITE \"z\"\n", "z\n"},
        {"another IF", "IF \"0\" THEN IF \"1\" THEN WRITE \"a\"\nWRITE \"z\"\n", "z\n"},
        {"a skipped IF", "IF \"1\" THEN IF \"0\" THEN WRITE \"a\"\nWRITE \"z\"\n", "z\n"},
        {"both true", "IF \"0\" THEN IF \"0\" THEN WRITE \"a\"\nWRITE \"z\"\n", "a\nz\n"},
        // The level of the single statement is left as soon as that statement is read, which a block's first line is:
        // the block has the state of the condition before it.
        {"a block as the single statement runs by the condition before it",
         "IF \"0\" THEN IF \"1\" THEN\nWRITE \"a\"\nEND\nWRITE \"z\"\n", "a\nz\n"},
        {"and is skipped by it", "IF \"1\" THEN IF \"0\" THEN\nWRITE \"a\"\nEND\nWRITE \"z\"\n", "z\n"},
        {"so is its ELSE", "IF \"0\" THEN IF \"1\" THEN\nWRITE \"a\"\nELSE\nWRITE \"b\"\nEND\nWRITE \"z\"\n", "a\nz\n"},
        {"so is the other ELSE", "IF \"1\" THEN IF \"1\" THEN\nWRITE \"a\"\nELSE\nWRITE \"b\"\nEND\nWRITE \"z\"\n",
         "b\nz\n"},
        {"an ELSE as the single statement turns its own level alone",
         "IF \"1\" THEN ELSE\nWRITE \"a\"\nIF \"0\" THEN ELSE\nWRITE \"b\"\n", "a\nb\n"},
        {"nested blocks in a false block stay skipped with their ELSE",
         "IF \"1\" THEN\nIF \"0\" THEN\nWRITE \"a\"\nELSE\nWRITE \"b\"\nEND\n"
         "IF \"1\" THEN\nWRITE \"c\"\nELSE\nWRITE \"d\"\nEND\nELSE\nWRITE \"e\"\nEND\n",
         "e\n"},
        {"ELSE may turn a level again",
         "IF \"1\" THEN\nWRITE \"a\"\nELSE\nWRITE \"b\"\nELSE\nWRITE \"c\"\nELSE\nWRITE \"d\"\nEND\n", "b\nd\n"},
        {"ELSE after a single statement's IF turns the current level",
         "IF \"0\" THEN\nIF \"1\" THEN WRITE \"a\"\nELSE\nWRITE \"b\"\nEND\nWRITE \"z\"\n", "z\n"},
        {"END at level 0 does nothing", "END\nENDIF\nEND\nWRITE \"a\"\n", "a\n"},
        {"an END as the single statement leaves no level below 0", "IF \"0\" THEN END\nWRITE \"a\"\n", "a\n"},
        {"199 levels nest",
         repeat(199, "IF \"0\" THEN\n") + "WRITE \"deep\"\n" + repeat(199, "END\n") + "WRITE \"z\"\n", "deep\nz\n"},
    };
    for (const ScriptRow &row : rows) {
        expect_scripts({row});
        EXPECT_EQ(condindex, 0) << row.behaviour;
        EXPECT_EQ(condstate[0], 0) << row.behaviour;
    }
}

TEST_F(LevelsTest, WhatIsOutOfPlaceHasItsEffect) {
    const std::string deepest = repeat(199, "IF \"0\" THEN\n"), ends = repeat(199, "END\n");
    const std::string unmatched = "Warning, unmatched IF...THEN statment (no END or ENDIF)\n";
    expect_scripts({
        {"a stray ELSE skips the rest, and END cannot undo it",
         "WRITE \"a\"\nELSE\nWRITE \"b\"\nEND\nWRITE \"c\"\nIF \"0\" THEN\nWRITE \"d\"\nEND\n", "a\n"},
        {"a second stray ELSE executes again", "ELSE\nWRITE \"a\"\nELSE\nWRITE \"b\"\n", "b\n"},
        {"an ELSE in a block below a skipped level 0 stays skipped",
         "ELSE\nIF \"0\" THEN\nWRITE \"a\"\nELSE\nWRITE \"b\"\nEND\nWRITE \"c\"\n", ""},
        {"an unreadable condition skips its block", "IF ) THEN\nWRITE \"a\"\nEND\nWRITE \"z\"\n",
         report("IF ) THEN") + "Invalid if statement \nz\n", 1},
        {"with its statement it skips what follows too", "IF ) THEN WRITE \"a\"\nWRITE \"b\"\nEND\nWRITE \"z\"\n",
         report("IF ) THEN WRITE \"a\"") + "Invalid if statement \nz\n", 1},
        {"its ELSE executes", "IF ) THEN\nWRITE \"a\"\nELSE\nWRITE \"b\"\nEND\n",
         report("IF ) THEN") + "Invalid if statement \nb\n", 1},
        {"a skipped one is not reported as one",
         "IF \"1\" THEN\nIF ) THEN\nWRITE \"a\"\nELSE\nWRITE \"b\"\nEND\nEND\nWRITE \"z\"\n",
         report("IF ) THEN") + "z\n", 1},
        {"a block without END is reported at the end", "IF \"0\" THEN\nWRITE \"a\"\n", "a\n" + unmatched, 1},
        {"the next script starts at level 0", "WRITE \"b\"\n", "b\n"},
        {"but not after a GOTO", "IF \"0\" THEN\nGOTO NOWHERE\nWRITE \"a\"\n", "a\n"},
        {"the 200th level is a syntax error and its block skipped",
         deepest + "IF \"0\" THEN\nWRITE \"x\"\nELSE\nWRITE \"y\"\nEND\nWRITE \"deep\"\n" + ends + "WRITE \"z\"\n",
         report("WRITE \"x\"") + "deep\nz\n", 1},
    });
    EXPECT_EQ(run(deepest + repeat(6, "IF \"0\" THEN\n")), 1) << "blocks left open too deep";
    output();
    expect_scripts({{"are forgotten by the next script", "WRITE \"next\"\n", "next\n"}});
}

TEST_F(LevelsTest, LevelZeroKeepsItsStateFromScriptToScript) {
    run("ELSE\n");
    EXPECT_EQ(printed("WRITE \"a\"\n"), "");
    EXPECT_EQ(printed("ELSE\nWRITE \"b\"\n"), "b\n");
}

TEST_F(LevelsTest, ASkippedLevelIsOne) {
    run("IF \"1\" THEN\n");
    EXPECT_EQ(condstate[1], 1);
    run("IF \"0\" THEN\nIF \"0\" THEN\n");
    EXPECT_EQ(condstate[1], 0);
    EXPECT_EQ(condstate[2], 0);
    for (const auto &[script, state] :
         {std::pair{"IF )\n", 1}, std::pair{"IF \"0\" THEN\nELSE\n", 1}, std::pair{"IF \"1\" THEN\nELSE\n", 0}}) {
        run(script);
        EXPECT_EQ(condstate[1], state) << script;
    }
}

} // namespace
