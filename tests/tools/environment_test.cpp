#include "tools/qrtlogin/environment.h"

#include <gtest/gtest.h>
#include <unistd.h>
#include <cstdlib>
#include <optional>

namespace {

constexpr char name[] = "QRT_ENVIRONMENT_TEST";

void set(const char *variable, const std::optional<std::string> &value) {
    if (value)
        setenv(variable, value->c_str(), 1);
    else
        unsetenv(variable);
}

std::optional<std::string> get(const char *variable) {
    const char *value = getenv(variable);
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

class RunEnvironmentTest : public ::testing::Test {
  protected:
    ~RunEnvironmentTest() override {
        unsetenv(name);
        set("PATH", path);
    }
    const std::optional<std::string> path = get("PATH");
};

} // namespace

TEST_F(RunEnvironmentTest, OnlyAFolderThatPathCanHoldIsLent) {
    for (const char *folder : {"", "/a:b"}) {
        RunEnvironment run;
        run.lendPathFolder(folder);
        EXPECT_EQ(get("PATH"), path);
        run.takeBack();
        EXPECT_EQ(get("PATH"), path);
    }
}

TEST_F(RunEnvironmentTest, PathIsTheSameAgainHoweverShortItWas) {
    for (const char *before : {"/", "", ":", "/bin"}) {
        set("PATH", before);
        RunEnvironment run;
        run.lendPathFolder("/opt/tools");
        EXPECT_EQ(get("PATH"), std::string("/opt/tools/.:") + before);
        run.takeBack();
        EXPECT_EQ(get("PATH"), before);
    }
}

TEST_F(RunEnvironmentTest, WhatWasLentIsTakenBackAndASwitchThatIsOffIgnoredUnlessEitherHasBeenSet) {
    const std::optional<std::string> none;
    const struct {
        bool isSwitch;
        std::optional<std::string> before, meanwhile, after;
    } rows[] = {
        {false, "old", "lent", "old"}, {false, none, "lent", none}, {false, "old", "new", "new"},
        {false, "old", none, none},    {true, none, "0", none},     {true, none, "1", "1"},
        {true, "1", "1", "1"},         {true, "1", "0", "0"},
    };
    for (const auto &row : rows) {
        set(name, row.before);
        RunEnvironment run;
        if (row.isSwitch)
            run.ignore(name);
        else
            run.lend(name, "lent");
        EXPECT_EQ(get(name), row.isSwitch ? row.before : "lent");
        set(name, row.meanwhile);
        run.takeBack();
        EXPECT_EQ(get(name), row.after);
    }
}

TEST_F(RunEnvironmentTest, ChangedVariablesAreExported) {
    set(name, std::nullopt);
    RunEnvironment run;
    EXPECT_EQ(run.exportLines(), "");
    set(name, "it's");
    EXPECT_EQ(run.exportLines(), std::string("export ") + name + "='it'\\''s'\n");
}

// Some shells export functions under names with other characters.
TEST_F(RunEnvironmentTest, AnEntryWithoutANameOrAnEqualsSignIsNone) {
    char nameless[] = "=x";
    char unequal[] = "QRT_ENVIRONMENT_TEST";
    char *entries[] = {nameless, unequal, nullptr};
    char **all = environ;
    RunEnvironment run;
    environ = entries;
    const std::string lines = run.exportLines();
    environ = nullptr;
    const std::string none = run.exportLines();
    environ = all;
    EXPECT_EQ(lines, "");
    EXPECT_EQ(none, "");
}

TEST_F(RunEnvironmentTest, NamesThatAShellCanAssignTo) {
    for (const char *good : {"A", "z", "_", "A1", "a_Z9"}) EXPECT_TRUE(shell_is_name(good)) << good;
    for (const char *bad : {"", "1", "1A", "A.B", "A-B", "A B", "\xc3\xa9"}) EXPECT_FALSE(shell_is_name(bad)) << bad;
}
