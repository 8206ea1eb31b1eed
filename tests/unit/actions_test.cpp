// What all statements share: the messages for a format that cannot be read, and that a skipped one does nothing.
#include "language/actions.h"

#include "tests/unit/script_fixture.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

class ActionsTest : public ScriptTest {};

TEST_F(ActionsTest, AStatementThatCannotBeReadHasItsMessageUnlessItIsSkipped) {
    const struct {
        const char *statement, *message;
    } rows[] = {
        {"ATTACH", "Invalid attach command format\n"},
        {"BREAK maybe", "Invalid break command format\n"},
        {"DOS BREAK )", "Invalid break command format\n"},
        {"CONTEXT", "Invalid context command format\n"},
        {"CHANGE_CONTEXT", "Invalid context command format\n"},
        {"CX", "Invalid context command format\n"},
        {"CLS now", "Invalid clear screen command format\n"},
        {"DEBUG", "Invalid DEBUG command format\n"},
        {"DEBUG = 3", "Invalid DEBUG command format\n"},
        {"DISPLAY", "Invalid display command format\n"},
        {"DRIVE", "Invalid drive command format\n"},
        {"EXIT now", "Invalid exit command format\n"},
        {"FDISPLAY", "Invalid fdisplay command format\n"},
        {"FIRE", "Invalid FIRE format \n"},
        {"GOTO )", "Invalid goto command format\n"},
        {"INCLUDE", "Invalid include command format\n"},
        {"LASTLOGINTIME now", "Invalid lastlogintime command format\n"},
        {"LAST_LOGIN_TIME now", "Invalid lastlogintime command format\n"},
        {"NO_DEFAULT now", "Invalid no_default command format\n"},
        {"PAUSE now", "Invalid pause command format\n"},
        {"WAIT now", "Invalid pause command format\n"},
        {"PROFILE", "Invalid profile command format\n"},
        {"SCRIPT_SERVER", "Invalid script server command format\n"},
        {"SET x", "Invalid set command format\n"},
        {"dos sEt x", "Invalid set command format\n"},
        {"TEMP SET x", "Invalid set command format\n"},
        {"SET_TIME", "Invalid set_time command format\n"},
        {"SHIFT = 3", "Invalid shift command format\n"},
        {"TERM", "Invalid term command format\n"},
        {"TREE", "Invalid tree command format\n"},
        {"WRITE = =", "Invalid write command format\n"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.statement);
        const std::string line = std::string(row.statement) + "\n";
        EXPECT_THAT(printed(line + "WRITE \"on\"\n"), EndsWith(std::string(row.message) + "on\n"));
        EXPECT_THAT(printed("IF \"a\" = \"b\" THEN\n" + line + "END\n"), Not(HasSubstr(row.message)));
    }
}

TEST_F(ActionsTest, AStatementThatTakesAnythingHasNoMessage) {
    for (const std::string line : {"SWAP )", "NOSWAP )", "COMSPEC )", "DOS VERIFY )"})
        EXPECT_EQ(printed(line + "\nWRITE \"on\"\n"), report(line) + "on\n");
}

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
