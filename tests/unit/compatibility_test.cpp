#include "commands/compatibility.h"

#include <gtest/gtest.h>

#include "tests/unit/command_fixture.h"

namespace {

class CompatibilityTest : public CommandTest {
  protected:
    // All statements and error forms of the module, each with its message.
    struct Row {
        void (*statement)();
        const char *message;
    };
    static constexpr Row rows[] = {
        {set_time_statement, "set_time command not implemented for Linux\n"},
        {set_time_format_error, "Invalid set_time command format\n"},
        {[] { regread_statement(text("HKLM")); }, "REGREAD command not supported\n"},
        {[] { script_server_statement(text("SRV1")); },
         "script_server (out of date) Ferrox 2 and Ferrox 3 users only\n"},
        {script_server_format_error, "Invalid script server command format\n"},
        {[] { term_statement(text("3")); }, ""},
        {term_format_error, "Invalid term command format\n"},
    };
};

TEST_F(CompatibilityTest, StatementsOnlyWriteTheirMessages) {
    for (const Row &row : rows) {
        row.statement();
        EXPECT_EQ(output(), row.message);
    }
}

TEST_F(CompatibilityTest, SkippedStatementsWriteNothing) {
    skip();
    for (const Row &row : rows) row.statement();
    EXPECT_EQ(output(), "");
}

} // namespace
