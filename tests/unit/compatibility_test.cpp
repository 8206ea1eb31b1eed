#include "commands/print.h"
#include "tests/unit/session_fixture.h"

namespace {

class CompatibilityTest : public SessionTest {
  protected:
    // All statements of the module, each with its message.
    struct Row {
        void (*statement)();
        const char *message;
    };
    static constexpr Row rows[] = {
        {set_time_statement, "set_time command not implemented for Linux\n"},
        {[] { regread_statement(text("HKLM")); }, "REGREAD command not supported\n"},
        {[] { script_server_statement(text("SRV1")); },
         "script_server (out of date) Ferrox 2 and Ferrox 3 users only\n"},
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
    for (const Row &row : rows) execute(row.statement);
    EXPECT_EQ(output(), "");
}

using CompatibilityScriptTest = ScriptTest;

TEST_F(CompatibilityScriptTest, StatementsOnlyWriteTheirMessages) {
    const std::string set_time = "set_time command not implemented for Linux\n";
    expect_scripts({
        {"COMSPEC writes only that its file is missing", "COMSPEC=SYS:NOFILE\n", "Unable to find file:(SYS/NOFILE/)\n"},
        {"SCRIPT_SERVER", "SCRIPT_SERVER SRV1\nWRITE \"server:%FILE_SERVER.\"\n",
         "script_server (out of date) Ferrox 2 and Ferrox 3 users only\nserver:.\n"},
        {"both forms of SET_TIME", "SET_TIME ON\nSET_TIME OFF\n", set_time + set_time},
        {"the rest has no effect", "TERM 3\nSWAP\nNOSWAP\nDOS VERIFY ON\nDOS VERIFY OFF\n", ""},
    });
    EXPECT_THAT(spy::calls("ZKCCOpenConnByName"), IsEmpty());
}

} // namespace
