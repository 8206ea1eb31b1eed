#include "commands/environment.h"

#include "commands/program.h"
#include "tests/unit/session_fixture.h"

namespace {

class EnvironmentTest : public SessionTest {
  protected:
    EnvironmentTest() { number_variables(); }

    // Each argument is its index, so that a test sees where it went.
    static void number_variables() {
        for (int index = 0; index < QRT_USER_VARIABLES; ++index) {
            qrt_SetUserVar(index, std::to_string(index).c_str());
        }
    }
    static std::string variable(const char *name) {
        const char *value = getenv(name);
        return value == nullptr ? "(unset)" : value;
    }
};

TEST_F(EnvironmentTest, SetOverwritesTheVariable) {
    set_statement(text("X"), text("a"));
    EXPECT_EQ(variable("X"), "a");
    set_statement(text("X"), text("b c"));
    EXPECT_EQ(variable("X"), "b c");
    EXPECT_EQ(output(), "");
    set_statement(text("X"), text("a"));
    program_statement(text(" printenv X"));
    EXPECT_EQ(output(), "a\n");
    set_statement(text("X"), text(""));
    EXPECT_EQ(variable("X"), "");
    set_statement(text("X"), text("a"));
    set_empty_statement(text("X"));
    EXPECT_EQ(variable("X"), "");
    unsetenv("X");
    set_empty_statement(text("X"));
    EXPECT_EQ(variable("X"), "");
    set_statement(text(""), text("a"));
    set_empty_statement(text(""));
    EXPECT_EQ(output(), "");
}

TEST_F(EnvironmentTest, SetReplacesIdentifiersOnceMoreAndAsksTheSessionsTree) {
    setenv("ENVIRONMENT_TEST", "inner", 1);
    set_statement(text("X"), text("an %<ENVIRONMENT_TEST> one"));
    EXPECT_EQ(variable("X"), "an inner one");
    ctx = 12;
    qrt_SetCurrentObject("jdoe.acme");
    spy::text_attribute("jdoe.acme", "Title", {"buyer"});
    set_statement(text("X"), text("a %TITLE"));
    EXPECT_EQ(variable("X"), "a buyer");
    EXPECT_EQ(spy::calls("ZKDSRead"), std::vector<std::string>{"ZKDSRead(12, \"jdoe.acme\", 1, 0, iter -1)"});
    qrt_SetCurrentObject(nullptr);
    ctx = 0;
}

TEST_F(EnvironmentTest, ShiftTakesItsCountOrGoesByOne) {
    shift_once();
    EXPECT_EQ(variables(), "0134567782");
    const struct {
        void (*shift)(OwnedText);
        const char *count;
        const char *arguments;
    } rows[] = {
        {shift_by, "1", "0134567782"},     {shift_by, "2", "0145677783"},
        {shift_by, "2x", "0145677783"},    {shift_by, "0", "0123456789"},
        {shift_by, "x", "0123456789"},     {shift_by, "2147483648", "0123456789"},
        {shift_back, "7", "0134567782"},   {shift_back, "6", "0145677783"},
        {shift_back, "6x", "0145677783"},  {shift_back, "2", "0177777787"},
        {shift_back, "0", "0123456789"},   {shift_back, "8", "0123456789"},
        {shift_back, "100", "0123456789"}, {shift_back, "2147483648", "0123456789"},
    };
    for (const auto &row : rows) {
        number_variables();
        row.shift(text(row.count));
        EXPECT_EQ(variables(), row.arguments) << (row.shift == shift_by ? "" : "-") << row.count;
    }
}

TEST_F(EnvironmentTest, ContextBecomesTheCurrentOne) {
    context_statement(text("OU=sales.O=acme"));
    EXPECT_EQ(shown(CurrentContext), ".OU=sales.O=acme");
    EXPECT_EQ(output(), "Your current context is: OU=sales.O=acme\n");
}

TEST_F(EnvironmentTest, ProfileReplacesTheOneNamedBefore) {
    profile_statement(text("first"));
    EXPECT_EQ(shown(over_ride_profile), "first");
    profile_statement(text("second"));
    EXPECT_EQ(shown(over_ride_profile), "second");
    EXPECT_EQ(output(), "");
}

TEST_F(EnvironmentTest, NoDefaultClearsThePublishedFlag) {
    no_default_statement();
    EXPECT_EQ(use_default_script, 0);
    EXPECT_EQ(output(), "");
}

TEST_F(EnvironmentTest, NoDefaultIsTracedFromLevelSix) {
    EXPECT_THAT(traces(6, no_default_statement), HasSubstr("no default script"));
    EXPECT_EQ(traces(5, no_default_statement), "");
}

TEST_F(EnvironmentTest, SkippedStatementsChangeNothing) {
    skip();
    execute(set_statement, text("X"), text("a"));
    execute(set_empty_statement, text("X"));
    EXPECT_EQ(variable("X"), "(unset)");
    execute(shift_by, text("1"));
    execute(shift_back, text("7"));
    execute(shift_once);
    EXPECT_EQ(variables(), "0123456789");
    execute(context_statement, text("O=acme"));
    EXPECT_EQ(shown(CurrentContext), "(null)");
    execute(profile_statement, text("p"));
    EXPECT_EQ(shown(over_ride_profile), "(null)");
    execute(no_default_statement);
    EXPECT_EQ(use_default_script, 1);
    EXPECT_EQ(output(), "");
}

} // namespace
