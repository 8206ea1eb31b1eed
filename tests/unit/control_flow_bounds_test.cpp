// The exact values that GOTO leaves in the exported variables, and the silence of skipped statements.
#include "tests/unit/session_fixture.h"

namespace {

using testing::HasSubstr;
using testing::Not;

class ControlFlowBoundsTest : public ScriptTest {};

TEST_F(ControlFlowBoundsTest, AMalformedStatementInASkippedBlockHasNoMessageOfItsOwn) {
    for (const std::string line : {"GOTO )", "EXIT now", "BREAK maybe", "DOS BREAK )"})
        EXPECT_EQ(printed("IF \"1\" THEN\n" + line + "\nEND\nWRITE \"z\"\n"), report(line) + "z\n");
}

TEST_F(ControlFlowBoundsTest, TheFlagsAreOne) {
    run("GOTO IF )\n");
    EXPECT_EQ(invalidGoToLabel, 1);
    invalidGoToLabel = 0;
    goto_statement(text_copy("A"));
    EXPECT_EQ(gotostate, 1);
    EXPECT_EQ(gotoWasUsed, 1);
}

TEST_F(ControlFlowBoundsTest, AJumpThatIsStillDueGivesWayToTheNextOne) {
    goto_statement(text_copy("A"));
    goto_statement(text_copy("B"));
    EXPECT_STREQ(gotolabel, "B");
}

TEST_F(ControlFlowBoundsTest, AFileNameCutShortCostsItsOwnLineOnly) {
    EXPECT_EQ(printed("DISPLAY SYS:\nWRITE \"a\"\nINCLUDE SYS:\r\nWRITE \"b\"\n"),
              report("WRITE \"a\"") + "Invalid display command format\na\n" + report("INCLUDE SYS:") +
                  "Invalid include command format\nb\n");
}

} // namespace
