// When the report is in colour.
#include "tests/qrtscript/check_fixture.h"

namespace {

class CheckColour : public CheckFixture {
  protected:
    CheckColour() { folder.write("a.qrt", "FOO 1\n"); }
    bool onTerminal(Words words) {
        words.insert(words.begin(), {QRTSCRIPT_PATH, "check"});
        words.push_back(folder.path("a.qrt"));
        TerminalProcess terminal(words, environment);
        EXPECT_EQ(terminal.finish(), 1);
        return terminal.shown().find("\x1b[") != std::string::npos;
    }
    bool inAFile(const Words &words) const { return check(words).out.find("\x1b[") != std::string::npos; }
};

} // namespace

TEST_F(CheckColour, IsForTerminals) {
    EXPECT_TRUE(onTerminal({}));
    EXPECT_TRUE(onTerminal({"--color=auto"}));
    EXPECT_FALSE(inAFile({"a.qrt"}));
    EXPECT_FALSE(inAFile({"--color=auto", "a.qrt"}));
}

TEST_F(CheckColour, NoColorAndDumbTerminalsHaveNone) {
    environment["NO_COLOR"] = "";
    EXPECT_TRUE(onTerminal({}));
    environment["NO_COLOR"] = "0";
    EXPECT_FALSE(onTerminal({}));
    EXPECT_TRUE(onTerminal({"--color"}));
    environment.erase("NO_COLOR");
    environment["TERM"] = "dumb";
    EXPECT_FALSE(onTerminal({}));
}

TEST_F(CheckColour, TheOptionDecides) {
    EXPECT_FALSE(onTerminal({"--color=never"}));
    EXPECT_TRUE(inAFile({"--color", "a.qrt"}));
    EXPECT_TRUE(inAFile({"--color=always", "a.qrt"}));
    EXPECT_EQ(check({"--color=red", "a.qrt"}).status, 2);
}

TEST_F(CheckColour, IsForTextAlone) {
    for (const char *format : {"gcc", "json", "sarif", "github"})
        EXPECT_FALSE(inAFile({"--color", "--format", format, "a.qrt"})) << format;
}

TEST_F(CheckColour, DifferencesHaveItToo) {
    folder.write("b.qrt", "cls\n");
    const auto shown = [&](const std::string &words) {
        TerminalProcess terminal(
            {"/bin/sh", "-c", "cd '" + folder.path() + "' && exec \"$0\" " + words, QRTSCRIPT_PATH}, environment);
        terminal.finish();
        return terminal.shown();
    };
    EXPECT_THAT(shown("fmt --diff b.qrt"), testing::HasSubstr("\x1b[31m-cls\x1b[0m\r\n\x1b[32m+CLS\x1b[0m\r\n"));
    folder.write("b.qrt", "REM\n A:\n");
    EXPECT_THAT(shown("check --diff b.qrt"), testing::HasSubstr("\x1b[31m- A:\x1b[0m\r\n"));
    EXPECT_THAT(check({"--diff", "b.qrt"}).out, testing::Not(testing::HasSubstr("\x1b")));
    EXPECT_THAT(check({"--diff", "--color", "b.qrt"}).out, testing::HasSubstr("\x1b[32m+A:\x1b[0m\n"));
    environment["NO_COLOR"] = "1";
    EXPECT_THAT(shown("fmt --diff b.qrt"), testing::Not(testing::HasSubstr("\x1b")));
}

TEST_F(CheckColour, TheCaretStandsUnderWideCharacters) {
    environment["LC_ALL"] = "C.UTF-8";
    folder.write("b.qrt", "WRITE \"\xE6\x97\xA5\xE6\x9C\xAC e\xCC\x81\" x\n");
    EXPECT_THAT(check({"b.qrt"}).out, testing::HasSubstr("\n  1 | WRITE \"\xE6\x97\xA5\xE6\x9C\xAC e\xCC\x81\" x\n"
                                                         "    |                ^\n"));
}
