#include "language/actions.h"

#include "tests/unit/session_fixture.h"

namespace {

class ActionsTest : public SessionTest {};

TEST_F(ActionsTest, ASkippedStatementGetsNoCallAndItsOperandsAreFreed) {
    static int calls;
    calls = 0;
    const auto statement = +[](OwnedText, SecretText) { calls++; };
    execute(statement, text("a"), nullptr);
    EXPECT_EQ(calls, 1);
    skip();
    execute(statement, text("a"), nullptr);
    EXPECT_EQ(calls, 1);
    char *slot = text("operand").release();
    execute(statement, own(slot), nullptr); // the leak check of the sanitizers sees the rest
    EXPECT_EQ(slot, nullptr);
}

} // namespace
