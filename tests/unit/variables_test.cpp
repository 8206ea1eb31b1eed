#include "base/variables.h"

#include "tests/unit/session_fixture.h"

namespace {

// The environment is put back after each test, so that others see the usual one.
class VariablesTest : public testing::Test {
  protected:
    VariablesTest() {
        // In an array of its own: what the C library has made of it, a test may free.
        static std::vector<char *> &usual = *new std::vector<char *>; // until the very end of the process
        if (usual.empty()) {
            for (char **entry = environ; *entry != nullptr; ++entry) usual.push_back(*entry);
            usual.push_back(nullptr);
        }
        before_ = usual.data();
        for (const std::string &entry : start_) pointers_.push_back(const_cast<char *>(entry.c_str()));
        pointers_.push_back(nullptr);
        environ = pointers_.data();
        variables_forget();
    }
    ~VariablesTest() override { environ = before_; }
    static std::vector<std::string> all() {
        std::vector<std::string> entries;
        for (char **entry = environ; entry != nullptr && *entry != nullptr; ++entry) entries.emplace_back(*entry);
        return entries;
    }
    using Entries = std::vector<std::string>;

  private:
    const Entries start_ = {"A=1", "B=2", "without", "B=3", "C="};
    std::vector<char *> pointers_;
    char **before_;
};

TEST_F(VariablesTest, KeepTheirPlacesAndNewOnesComeLast) {
    variables_set("D", "4");
    variables_set("A", "one");
    variables_set("C", "three");
    variables_set("D", "four");
    EXPECT_EQ(all(), (Entries{"A=one", "B=2", "without", "B=3", "C=three", "D=four"}));
}

TEST_F(VariablesTest, TheFirstOfTwoIsTheOneThatIsSet) {
    variables_set("B", "two");
    EXPECT_EQ(all(), (Entries{"A=1", "B=two", "without", "B=3", "C="}));
}

TEST_F(VariablesTest, ANameIsNotOneThatItBeginsWith) {
    variables_set("AA", "x");
    variables_set("without", "y");
    EXPECT_EQ(all(), (Entries{"A=1", "B=2", "without", "B=3", "C=", "AA=x", "without=y"}));
}

TEST_F(VariablesTest, NamesThatNobodyCanSetChangeNothing) {
    const Entries before = all();
    variables_set("", "x");
    variables_set("A=1", "x");
    EXPECT_EQ(all(), before);
}

TEST_F(VariablesTest, WhatOthersSetIsSeen) {
    variables_set("D", "4");
    setenv("E", "5", 1);
    variables_set("E", "five");
    EXPECT_EQ(all(), (Entries{"A=1", "B=2", "without", "B=3", "C=", "D=4", "E=five"}));
}

TEST_F(VariablesTest, WhatOthersReplaceKeepsItsPlace) {
    variables_set("D", "4");
    setenv("D", "IV", 1);
    EXPECT_STREQ(getenv("D"), "IV");
    variables_set("D", "four");
    EXPECT_EQ(all(), (Entries{"A=1", "B=2", "without", "B=3", "C=", "D=four"}));
}

TEST_F(VariablesTest, WhatOthersUnsetIsGone) {
    variables_set("D", "4");
    unsetenv("A");
    variables_set("A", "one");
    variables_set("B", "two");
    EXPECT_EQ(all(), (Entries{"B=two", "without", "B=3", "C=", "D=4", "A=one"}));
    clearenv();
    variables_set("A", "one");
    EXPECT_EQ(all(), Entries{"A=one"});
}

TEST_F(VariablesTest, AnEntryThatTheCallerHasExchangedIsNoticed) {
    variables_set("D", "4");
    char other[] = "OTHER=x";
    environ[0] = other;
    variables_set("A", "one");
    EXPECT_EQ(all(), (Entries{"OTHER=x", "B=2", "without", "B=3", "C=", "D=4", "A=one"}));
    char longer[] = "AA=x";
    environ[6] = longer;
    variables_set("A", "one");
    EXPECT_EQ(all(), (Entries{"OTHER=x", "B=2", "without", "B=3", "C=", "D=4", "AA=x", "A=one"}));
}

// Between two scripts a caller may do with the array what it likes.
TEST_F(VariablesTest, EachScriptReadsThemAnew) {
    variables_set("D", "4");
    char other[] = "OTHER=x";
    environ[0] = other;
    variables_forget();
    variables_set("OTHER", "y");
    EXPECT_EQ(all(), (Entries{"OTHER=y", "B=2", "without", "B=3", "C=", "D=4"}));
}

TEST_F(VariablesTest, AValueStaysReadableWhenItIsReplaced) {
    variables_set("A", "first");
    const char *first = getenv("A");
    variables_set("A", "second");
    EXPECT_STREQ(first, "first");
    EXPECT_STREQ(getenv("A"), "second");
}

// The one after the next takes the block of the first again, or leaves it alone when it is too small for it.
TEST_F(VariablesTest, AValueStaysReadableWhenALongerOneNeedsAnotherBlock) {
    const std::string first(18, 'x');
    char name[] = "a";
    for (size_t length = 30; length < 45; ++length, ++name[0]) {
        variables_set(name, first.c_str());
        const char *kept = getenv(name);
        variables_set(name, "second");
        const std::string third(length, 'y');
        variables_set(name, third.c_str());
        EXPECT_TRUE(kept == first || kept == third) << length << ": " << kept;
    }
}

TEST_F(VariablesTest, AValueThatComesBackTakesNoNewMemory) {
    variables_set("A", "first");
    const char *first = getenv("A");
    variables_set("A", "second");
    variables_set("A", "first");
    EXPECT_EQ(getenv("A"), first);
}

TEST_F(VariablesTest, TheEnvironmentIsReadOnceForAnyNumberOfThem) {
    const uint32_t before = variables_reads();
    for (int number = 0; number < 5000; ++number) variables_set(("V" + std::to_string(number)).c_str(), "x");
    for (int number = 0; number < 5000; ++number) variables_set(("V" + std::to_string(number)).c_str(), "y");
    EXPECT_EQ(variables_reads(), before + 1);
    EXPECT_EQ(all().size(), 5005u);
    EXPECT_STREQ(getenv("V4999"), "y");
    setenv("ELSEWHERE", "x", 1);
    variables_set("V0", "z");
    EXPECT_EQ(variables_reads(), before + 2);
}

class SetManyTest : public ScriptTest {};

TEST_F(SetManyTest, TheEnvironmentIsReadOnceForAScript) {
    std::string script;
    for (int number = 0; number < 1000; ++number) script += "SET MANY" + std::to_string(number) + "=\"x\"\n";
    const uint32_t before = variables_reads();
    EXPECT_EQ(run(script), 0);
    EXPECT_EQ(variables_reads(), before + 1);
    EXPECT_STREQ(getenv("MANY999"), "x");
    EXPECT_EQ(run("SET MANY0=\"y\"\n"), 0);
    EXPECT_EQ(variables_reads(), before + 2);
}

} // namespace
