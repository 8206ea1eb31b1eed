#include "script/syntax_error.h"

#include "tests/unit/session_fixture.h"

namespace {

class SyntaxErrorTest : public ScriptTest {
  protected:
    // What an error quotes when the active buffer contains `text` and reading stands at `position`.
    std::string quoted(const std::string &text, int32_t position) {
        lex_addBuffer(text.c_str());
        const std::string line = quoted_at(position);
        lex_free_active_buffer();
        return line;
    }
    std::string quoted_at(int32_t position) {
        lex_activeBuffer()->readPos = position;
        yyerror("message");
        const std::string shown = output(), before = "\nScript error.\nThe original line was:\n";
        EXPECT_EQ(shown.substr(0, before.size()), before);
        EXPECT_EQ(shown.substr(shown.size() - 2), "\n\n");
        return shown.substr(before.size(), shown.size() - before.size() - 2);
    }
};

TEST_F(SyntaxErrorTest, TheLineOfTheReadPositionIsQuoted) {
    const std::string text = "one\ntwo\r\nthree", letters = "x\ny\nz";
    const struct {
        std::string text;
        std::vector<int32_t> positions;
        const char *line;
    } rows[] = {
        {text, {1, 2, 3}, "one"}, // up to its line feed
        {text, {4, 8}, "two"},    // from its first character to the line feed of its line end
        {text, {9, 14}, "three"}, // up to the end
        {letters, {1}, "x"},
        {letters, {2, 3}, "y"},
        {letters, {4, 5}, "z"},
        {"x", {1}, "x"},
        // Line ends before the position are skipped.
        {"one\n\r\n\n\ntwo\n", {7}, "one"},
        {"one\n\n\n", {6}, "one"},
        {"  one two \n", {11}, "  one two "},
        // There is no line.
        {"", {0}, "bogus"},
        {"one\n", {0}, "bogus"},
        {"\r\n\n", {2, 3}, "bogus"},
    };
    for (const auto &row : rows)
        for (const int32_t position : row.positions) EXPECT_EQ(quoted(row.text, position), row.line) << position;
}

TEST_F(SyntaxErrorTest, AReportIsTracedAndSetsTheFlagWhichTheNextScriptClears) {
    syntax_error = 0;
    EXPECT_THAT(traces(6, [this] { quoted("x", 1); }), HasSubstr("parse error unexpected input: message\n"));
    EXPECT_EQ(syntax_error, 1);
    EXPECT_EQ(run("FOO BAR\n"), 1);
    EXPECT_EQ(run("WRITE\n"), 0);
}

TEST_F(SyntaxErrorTest, TheMessageNamesTheTokensWithoutQuotes) {
    const std::pair<const char *, const char *> rows[] = {
        {"SET_TIME x\n", "STRING, expecting ON or OFF or ':'\n"},
        {"CLS MAP\n", "MAP, expecting ':' or '\\n' or '\\r'\n"},
        {"ATTACH A B\n", "STRING, expecting '*' or '-' or '\\n' or '\\r'\n"},
        {"REGREAD x\n", "STRING, expecting ':'\n"},
        {"COMSPEC \"x\"\n", "QUOTEDSTRING, expecting '=' or ':'\n"},
        {"WRITE (\n", "'('\n"},
        {"GOTO =\n", "'='\n"},
    };
    for (const auto &[script, message] : rows)
        EXPECT_THAT(traces(6, [this, line = script] { run(line); }),
                    HasSubstr(std::string("parse error unexpected input: syntax error, unexpected ") + message));
}

TEST_F(SyntaxErrorTest, ReadingGoesOnWithTheNextLine) {
    const std::string foo = report("FOO BAR"), format = "Invalid set command format\n";
    expect_scripts({
        {"two plain words", "FOO BAR\nWRITE \"next\"\n", foo + "next\n", 1},
        {"the rest of the line is skipped", "FOO BAR ) = WRITE \"x\" EXIT \"open\r\nWRITE \"next\"\n",
         report("FOO BAR ) = WRITE \"x\" EXIT \"open") + "next\n", 1},
        {"each further error is reported", "FOO BAR\nWRITE \"a\"\nFOO BAR\nSET A B\nWRITE \"next\"\n",
         foo + "a\n" + foo + report("SET A B") + format + "next\n", 1},
        // Three tokens have to be taken after an error, its line end included, before the next one is reported. The
        // format message comes all the same.
        {"too soon after another", "FOO BAR\n)\nWRITE \"next\"\n", foo + "next\n", 1},
        {"the same mistake", "FOO BAR\nFOO BAR\nWRITE \"next\"\n", foo + "next\n", 1},
        {"a statement's", "FOO BAR\nCLS x\nWRITE \"next\"\n", foo + "Invalid clear screen command format\nnext\n", 1},
        {"the second token", "FOO BAR\nSET ) \nWRITE \"next\"\n", foo + format + "next\n", 1},
        {"the third token", "FOO BAR\nSET A B\nWRITE \"next\"\n", foo + report("SET A B") + format + "next\n", 1},
        {"a missing token quotes the line that reading has reached", "FOO\nWRITE \"next\"\n",
         report("WRITE \"next\"") + "next\n", 1},
        {"at the end", "WRITE \"a\"\nFOO\n", "a\n" + report("FOO"), 1},
        {"before an empty line", "FOO\n\nWRITE \"next\"\n", report("FOO") + "next\n", 1},
        {"a malformed ELSE or END has no effect", "IF \"0\" THEN\nELSE )\nWRITE \"a\"\nEND )\nELSE\nWRITE \"b\"\nEND\n",
         report("ELSE )") + "a\n" + report("END )"), 1},
        {"a file's name cut short costs its own line", "DISPLAY SYS:\nWRITE \"a\"\nINCLUDE SYS:\r\nWRITE \"b\"\n",
         report("WRITE \"a\"") + "Invalid display command format\na\n" + report("INCLUDE SYS:") +
             "Invalid include command format\nb\n",
         1},
        // The word in front of the line end has switched the whole-line mode on when the mistake is noticed, and while
        // the parser recovers nothing is reported.
        {"so does one during recovery", "FOO BAR\nDISPLAY\nWRITE \"next\"\n",
         foo + "Invalid display command format\nnext\n", 1},
    });
}

// The statements' own recovery: lines that are no statement, and the message that follows the report.
static const std::pair<const char *, const char *> recoveries[] = {
    {"WRITE )", "Invalid write command format\n"},
    {"DISPLAY )", "Invalid display command format\n"},
    {"FDISPLAY )", "Invalid fdisplay command format\n"},
    {"CLS )", "Invalid clear screen command format\n"},
    {"PAUSE )", "Invalid pause command format\n"},
    {"WAIT )", "Invalid pause command format\n"},
    {"FIRE A B C D", "Invalid FIRE format \n"},
    {"FIRE )", "Invalid FIRE format \n"},
    {"LASTLOGINTIME )", "Invalid lastlogintime command format\n"},
    {"LAST_LOGIN_TIME )", "Invalid lastlogintime command format\n"},
    {"DEBUG )", "Invalid DEBUG command format\n"},
    {"INCLUDE )", "Invalid include command format\n"},
    {"DRIVE H", "Invalid drive command format\n"},
    {"DRIVE )", "Invalid drive command format\n"},
    {"SET A B", "Invalid set command format\n"},
    {"SET )", "Invalid set command format\n"},
    {"SET A = \"x\" )", "Invalid set command format\n"},
    {"DOS SET )", "Invalid set command format\n"},
    {"TEMP SET )", "Invalid set command format\n"},
    {"SHIFT )", "Invalid shift command format\n"},
    {"SHIFT -", "Invalid shift command format\n"},
    {"CONTEXT )", "Invalid context command format\n"},
    {"CHANGE_CONTEXT )", "Invalid context command format\n"},
    {"CX )", "Invalid context command format\n"},
    {"CX a=", "Invalid context command format\n"},
    {"PROFILE )", "Invalid profile command format\n"},
    {"NO_DEFAULT )", "Invalid no_default command format\n"},
    {"SET_TIME MAYBE", "Invalid set_time command format\n"},
    {"SCRIPT_SERVER )", "Invalid script server command format\n"},
    {"TERM )", "Invalid term command format\n"},
    {"SWAP )", ""},
    {"NOSWAP )", ""},
    {"COMSPEC )", ""},
    {"DOS VERIFY )", ""},
    {"TREE )", "Invalid tree command format\n"},
    {"TREE a/", "Invalid tree command format\n"},
    {"TREE a/b;", "Invalid tree command format\n"},
    {"ATTACH )", "Invalid attach command format\n"},
    {"ATTACH A B", "Invalid attach command format\n"},
    {"BREAK )", "Invalid break command format\n"},
    {"DOS BREAK )", "Invalid break command format\n"},
    {"EXIT )", "Invalid exit command format\n"},
    {"GOTO )", "Invalid goto command format\n"},
    {"GOTO A B", "Invalid goto command format\n"},
    // Words and references that are not taken everywhere.
    {"SHIFT ON", "Invalid shift command format\n"},
    {"SHIFT A-B", "Invalid shift command format\n"},
    {"SHIFT -ON", "Invalid shift command format\n"},
    {"TERM ON", "Invalid term command format\n"},
    {"TERM A-B", "Invalid term command format\n"},
    {"TREE a;b", "Invalid tree command format\n"},
    {"COMSPEC=x", ""},
    {"SET %A = \"x\"", "Invalid set command format\n"},
    {"DRIVE %A:", "Invalid drive command format\n"},
    {"DRIVE *%A", "Invalid drive command format\n"},
    {"PROFILE %A", "Invalid profile command format\n"},
    {"ATTACH %A", "Invalid attach command format\n"},
    {"SCRIPT_SERVER %A", "Invalid script server command format\n"},
    {"DOS VERIFY %A", ""},
    {"FIRE %A", "Invalid FIRE format \n"},
    {"DEBUG %A", "Invalid DEBUG command format\n"},
    {"GOTO %A", "Invalid goto command format\n"},
    {"WRITE MEMBER OF Staff", "Invalid write command format\n"},
    {"WRITE NOT MEMBER", "Invalid write command format\n"},
    // Without a form of their own.
    {"A-B:", ""},
    {":A B", ""},
    {":%A", ""},
    {": )", ""},
    {"A : B", ""},
    {"IF : B", ""},
    {"ELSE )", ""},
    {"END )", ""},
    {"ENDIF )", ""},
    {"REGREAD x", ""},
    {"LOCAL SET )", ""},
    {"LOCAL x", ""},
    {"DOS x", ""},
    {"TEMP x", ""},
    {"THEN", ""},
    {"\"text\"", ""},
    {"= x", ""},
};

TEST_F(SyntaxErrorTest, EachStatementWritesItsFormatErrorAndTheNextLineRuns) {
    for (const auto &[words, message] : recoveries) {
        const std::string line = words;
        SCOPED_TRACE(line);
        // The blank line keeps the reading position of an error at the line's end out of the next line.
        expect_scripts({
            {"", line + "\n\nWRITE \"next\"\n", report(line) + message + "next\n", 1},
            {"", line + "\r\n\r\nWRITE \"next\"\r\n", report(line) + message + "next\n", 1},
            {"skipped", "IF \"1\" THEN\n" + line + "\n\nEND\nWRITE \"next\"\n", report(line) + "next\n", 1},
        });
        const std::string single = "IF \"0\" THEN " + line;
        run(single + "\n\nWRITE \"next\"\n");
        EXPECT_THAT(output(), AllOf(StartsWith(report(single) + message), EndsWith("next\n")));
    }
}

TEST_F(SyntaxErrorTest, WhatAMalformedStatementNamesIsNotDone) {
    unsetenv("A");
    use_default_script = 1;
    run("SET A = \"x\" )\nCX a.b )\nPROFILE p q\nBREAK ON x\nNO_DEFAULT x\n");
    EXPECT_EQ(getenv("A"), nullptr);
    EXPECT_STREQ(CurrentContext, ".sales.acme");
    EXPECT_EQ(over_ride_profile, nullptr);
    EXPECT_EQ(bcntrlc, 0);
    EXPECT_EQ(use_default_script, 1);
}

// A name that stops where its path should begin leaves no trace in the lines that follow.
TEST_F(SyntaxErrorTest, AFileNameCutShortCostsItsLineAlone) {
    for (const char *statement : {"DISPLAY ", "FDISPLAY ", "INCLUDE "})
        for (const char *name : {"SYS:", "\\", "\\dir\\file", "SRV/SYS:", "\\\\SRV\\"}) {
            const std::string line = std::string(statement) + name;
            EXPECT_EQ(run(line + "\nWRITE \"next\"\n"), 1) << line;
            const std::string text = output();
            EXPECT_THAT(text, EndsWith("command format\nnext\n")) << line;
            EXPECT_EQ(text.find("Script error."), text.rfind("Script error.")) << line;
        }
}

TEST_F(SyntaxErrorTest, LinesFarBehindAreQuoted) {
    EXPECT_EQ(run("WRITE \"a\"\n" + std::string(5000, '\n') + "ATTACH\n" + std::string(5000, '\n')), 1);
    EXPECT_EQ(output(), "a\n" + report("ATTACH") + "Invalid attach command format\n");
    for (const int count : {4095, 4096, 4097, 4098, 5000}) {
        const std::string blank(static_cast<size_t>(count), '\n');
        EXPECT_EQ(quoted("one\n" + blank, count), "one");
        EXPECT_EQ(quoted("two\n" + blank, count), "two") << "the same place in another text";
        EXPECT_EQ(quoted("\n\n\n\n" + blank, count), "bogus");
    }
    // The mistakes stand behind ever longer runs of line ends.
    std::string ends, reports;
    for (int i = 0; i < 3000; i++) {
        ends += "\r\r\r\r\n";
        reports += report("WRITE \"a\"");
    }
    EXPECT_EQ(run("WRITE \"a\"\n" + ends + "FOO BAR\n\n\n\n" + ends.substr(0, 5)), 1);
    EXPECT_EQ(output(), "a\n" + reports + report("FOO BAR") + report("FOO BAR"));
}

TEST_F(SyntaxErrorTest, ATextThatIsReadOnAfterAnotherQuotesItsOwnLines) {
    const std::string run(5000, '\n');
    lex_addBuffer(("one" + run + "two" + run).c_str());
    lex_addBuffer(("inner" + run + run).c_str());
    EXPECT_EQ(quoted_at(6000), "inner");
    lex_dropBuffer();
    EXPECT_EQ(quoted_at(9000), "two");
    lex_free_active_buffer();
}

TEST_F(SyntaxErrorTest, AJumpBackBeforeALongRunQuotesTheLinesThere) {
    const std::string blank(5000, '\n'), once = report("FOO BAR") + report("FOO BAR");
    unsetenv("SEEN");
    EXPECT_EQ(printed("\nTOP:\nFOO BAR\n" + blank + "\r\r\r\r\n\n\n\nIF \"%<SEEN>\" = \"1\" THEN\nEXIT\nEND\n" +
                      "SET SEEN = \"1\"\nGOTO TOP\n"),
              once + once + "Exiting script...\n");
    unsetenv("SEEN");
}

} // namespace
