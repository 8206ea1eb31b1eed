#include "commands/session_statements.h"

#include "tests/unit/session_fixture.h"

namespace {

// The tree ACME_TREE, nobody logged in, and jdoe's password at hand.
class SessionStatementsTest : public SessionTest {
  protected:
    SessionStatementsTest() {
        spy::tree("ACME_TREE", "SRV1");
        spy::server("SRV1", "ACME_TREE");
        qrt_SetCurrentObject("jdoe.sales.acme");
        set(CurrentPassword, "kept");
    }
    static SecretText secret(const char *value) { return SecretText(text(value).release()); }

    // Which name and password the client was asked to log in with.
    static std::string login() {
        const std::vector<std::string> logins = spy::calls("ZKDSLoginEx");
        if (logins.size() != 1) return std::to_string(logins.size()) + " logins";
        return logins[0].substr(logins[0].find('"'));
    }
};

TEST_F(SessionStatementsTest, TreeLogsInWithWhatItHasAndOtherwiseTheSessions) {
    tree_statement(text("ACME_TREE"), nullptr, nullptr);
    EXPECT_EQ(login(), "\"jdoe.sales.acme\", 2, \"kept\")");
    EXPECT_THAT(output(), HasSubstr("Your current tree is: ACME_TREE\n"));
    for (const char *password : {static_cast<const char *>(nullptr), "given"}) {
        spy::logged_in_to("ACME_TREE", "");
        spy::forget_calls();
        tree_statement(text("ACME_TREE"), text("bob.sales.acme"), secret(password));
        EXPECT_EQ(login(), std::string("\"bob.sales.acme\", 2, \"") + (password ? password : "kept") + "\")");
    }
    EXPECT_THAT(wipe_watch::wiped(), Contains("given"));
    skip();
    execute(tree_statement, text("ACME_TREE"), text("bob.sales.acme"), secret("skipped"));
    EXPECT_THAT(wipe_watch::wiped(), Contains("skipped"));
}

TEST_F(SessionStatementsTest, TreeReportsAnUnknownTree) {
    tree_statement(text("NOWHERE"), text("bob.sales.acme"), secret("given"));
    EXPECT_EQ(output(), "Could not Login into tree: NOWHERE FFFFFD42\n");
}

TEST_F(SessionStatementsTest, TreeNeverTracesThePassword) {
    const auto run = [] { tree_statement(text("NOWHERE"), text("bob.sales.acme"), secret("s3cret")); };
    EXPECT_THAT(traces(6, run), HasSubstr("<a password>"));
    EXPECT_THAT(traces(9, run), Not(HasSubstr("s3cret")));
}

TEST_F(SessionStatementsTest, AttachReportsTheServer) {
    spy::authenticated("SRV1");
    attach_statement(text("SRV1"));
    EXPECT_EQ(output(), "Attached to server(SRV1)\n");
}

TEST_F(SessionStatementsTest, AttachReportsAFailureWithItsCode) {
    attach_statement(text("NOWHERE"));
    EXPECT_THAT(output(), EndsWith("Unable to attach to server(NOWHERE) 8847\n"));
    spy::fail("ZKCCGetConnInfo", 0xFFFFE00F);
    attach_statement(text("SRV1"));
    EXPECT_EQ(output(), "Unable to attach to server(SRV1) FFFFE00F\n");
}

TEST_F(SessionStatementsTest, SkippedStatementsDoNothing) {
    skip();
    spy::forget_calls();
    const auto all = [] {
        execute(tree_statement, text("ACME_TREE"), text("bob.sales.acme"), secret("given"));
        execute(attach_statement, text("SRV1"));
    };
    EXPECT_EQ(traces(9, all), "");
    EXPECT_THAT(spy::calls(), IsEmpty());
    EXPECT_EQ(output(), "");
}

} // namespace
