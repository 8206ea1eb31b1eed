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

class CompatibilityScriptTest : public ScriptTest {};

TEST_F(CompatibilityScriptTest, ComspecWritesOnlyThatItsFileIsMissing) {
    EXPECT_EQ(run("COMSPEC=SYS:NOFILE\n"), 0);
    EXPECT_EQ(output(), "Unable to find file:(SYS/NOFILE/)\n");
}

TEST_F(CompatibilityScriptTest, ScriptServerOnlyWritesItsMessage) {
    EXPECT_EQ(printed("SCRIPT_SERVER SRV1\nWRITE \"server:%FILE_SERVER.\"\n"),
              "script_server (out of date) Ferrox 2 and Ferrox 3 users only\nserver:.\n");
    EXPECT_THAT(spy::calls("ZKCCOpenConnByName"), IsEmpty());
}

TEST_F(CompatibilityScriptTest, BothFormsOfSetTimeWriteTheSameMessage) {
    for (const char *script : {"SET_TIME ON\n", "SET_TIME OFF\n"})
        EXPECT_EQ(printed(script), "set_time command not implemented for Linux\n");
}

TEST_F(CompatibilityScriptTest, TermSwapAndVerifyHaveNoEffect) {
    EXPECT_EQ(run("TERM 3\nSWAP\nNOSWAP\nDOS VERIFY ON\nDOS VERIFY OFF\n"), 0);
    EXPECT_EQ(output(), "");
    EXPECT_THAT(spy::calls(), IsEmpty());
}

} // namespace
