// What scripts write does not take a terminal over; what their programs write reaches it as it is, and so does
// everything where no terminal shows it.

#include "tests/support/site.h"

namespace {

using testing::HasSubstr;
using testing::Not;

// What a script writes with all kinds of control characters, in the script, as it is, and as a terminal shows it.
const char hostile[] =
    "a\x1B[2Jb\x1B]0;title\x07"
    "c\x7F"
    "d\xC2\x9B"
    "e\x9B"
    "f\r"
    "g\tJ\xC3\xB6rg \xE2\x82\xAC \xF0\x9F\x98\x80 \xFC.";
const char harmless[] =
    "a\\x1B[2Jb\\x1B]0;title\x07"
    "c\\x7Fd\\xC2\\x9B"
    "e\\x9B"
    "f\\x0Dg\tJ\xC3\xB6rg \xE2\x82\xAC \xF0\x9F\x98\x80 \xFC.";

std::string statement() {
    std::string text = hostile;
    return "WRITE \"" + text.replace(text.find('\r'), 1, "\\r") + "\"\n";
}

class TerminalOutput : public Site {
  protected:
    // What a terminal gets of a login with the words, whose output goes where `redirected` says.
    std::string shown(const Words &words = {}, const std::string &redirected = "") {
        site.write("password", "secret\n");
        Words all = {"/bin/sh",
                     "-c",
                     "exec \"$@\" 3<" + site.path("password") + redirected,
                     "sh",
                     QRTLOGIN_PATH,
                     "--password-fd",
                     "3",
                     "jdoe.sales.acme"};
        all.insert(all.end(), words.begin(), words.end());
        TerminalProcess process(all, environment);
        EXPECT_EQ(process.finish(), 0);
        return process.shown();
    }
};

} // namespace

TEST_F(TerminalOutput, OfScriptsShowsWhatATerminalWouldObey) {
    userScript(statement() + "WRITE \"rings \\7\"\n");
    EXPECT_THAT(shown(), HasSubstr("SRV1\r\n" + std::string(harmless) + "\r\nrings \x07\r\n"));
}

TEST_F(TerminalOutput, IsAsItWasWrittenWithRawOutput) {
    userScript(statement());
    EXPECT_THAT(shown({"--raw-output"}), HasSubstr("SRV1\r\n" + std::string(hostile) + "\r\n"));
}

TEST_F(TerminalOutput, IsAsItWasWrittenWhereNoTerminalShowsIt) {
    userScript(statement());
    EXPECT_EQ(login().out, login_head + hostile + "\n");
    shown({}, " >" + site.path("out"));
    EXPECT_EQ(file_text(site.path("out")), login_head + hostile + "\n");
}

TEST_F(TerminalOutput, OfValuesAndNamesShowsWhatATerminalWouldObey) {
    site.write("client.toml", file_text(site.path("client.toml")) + "any_text = true\n");
    userScript("WRITE \"%FULL_NAME %<N>\"\nTREE T\x1B[2J\n");
    std::string ldif = file_text(site.path("acme.ldif"));
    const std::string plain = "displayName: Jane Doe";
    // "Odd", ESC, "[2J", U+009B, "2J"
    ldif.replace(ldif.find(plain), plain.size(), "displayName:: T2RkG1sySsKbMko=");
    site.write("acme.ldif", ldif);
    environment["N"] = "n\x1B[2J";
    const std::string text = shown();
    EXPECT_THAT(text, HasSubstr("Odd\\x1B[2J\\xC2\\x9B2J n\\x1B[2J\r\n"));
    EXPECT_THAT(text, HasSubstr("Could not Login into tree: T\\x1B[2J"));
    EXPECT_THAT(text, Not(HasSubstr("\x1B")));
}

// Texts in more than one piece, which are cut anywhere.
TEST_F(TerminalOutput, KeepsLongTextsWhole) {
    std::string letters;
    for (int letter = 0; letter < 100; ++letter) letters += "\xE2\x82\xAC\xC3\xB6\xF0\x9F\x98\x80";
    userScript("WRITE \"" + letters + "\"\nWRITE \"x" + letters + "\"\nWRITE \"\xC3\"\n");
    EXPECT_THAT(shown(), HasSubstr("SRV1\r\n" + letters + "\r\nx" + letters + "\r\n\xC3\r\n"));
}

// An editor draws with escape sequences on either of its outputs; both lead to the terminal.
TEST_F(TerminalOutput, OfProgramsIsAsItWasWritten) {
    const std::string drawing =
        "\x1B[?1049h\x1B[2J\x1B[1;1H\xC2\x9B"
        "1m\x1B[?1049l";
    site.write("drawing", drawing);
    program("edit", "cat " + site.path("drawing") + "; cat " + site.path("drawing") + " >&2; echo\n");
    userScript("WRITE \"\x1B[1m\"\n" + running("edit") + "WRITE \"\x1B[0m\"\n");
    EXPECT_THAT(shown(), HasSubstr("SRV1\r\n\\x1B[1m\r\n" + drawing + drawing + "\r\n\\x1B[0m\r\n"));
}

TEST_F(TerminalOutput, OfTracesShowsWhatATerminalWouldObey) {
    userScript("SET N=\"\x1B[2J\"\n");
    const std::string text = shown({"--debug", "10"});
    EXPECT_THAT(text, HasSubstr("--DEBUG--"));
    EXPECT_THAT(text, HasSubstr("\\x1B[2J"));
    EXPECT_THAT(text, Not(HasSubstr("\x1B")));
}

TEST_F(TerminalOutput, BesideThePrintedEnvironmentShowsWhatATerminalWouldObey) {
    userScript(statement() + "SET A=\"\x1B\"\n");
    const std::string text = shown({"--print-environment"}, " >" + site.path("out"));
    EXPECT_THAT(text, HasSubstr(std::string(harmless) + "\r\n"));
    EXPECT_EQ(file_text(site.path("out")), "export A='\x1B'\n");
}
