#include "language/tokenizer.h"

#include <climits>

#include "tests/unit/session_fixture.h"
// Behind the fixture, which declares the parser with its linkage.
#include "language/grammar.tab.h"

namespace {

using Tokens = std::vector<std::string>;

class TokenizerTest : public SessionTest {
  protected:
    static void open(const std::string &text) {
        close();
        end_of_line = 1;
        wholeline = 0;
        lex_addBuffer(text.c_str());
    }
    static void close() {
        for (; ibufstackindex > 0; ibufstackindex--) lex_free_active_buffer();
    }

    // The next token: its number and text, or the character that it is ("LF" and "CR"), or "end".
    static std::string next() {
        static char untouched[] = "untouched";
        yylval.text = untouched;
        const int number = yylex();
        if (number >= 256) return std::to_string(number) + " " + OwnedText(yylval.text).get();
        EXPECT_EQ(yylval.text, untouched);
        if (number == 0) return "end";
        return number == '\n' ? "LF" : number == '\r' ? "CR" : std::string(1, static_cast<char>(number));
    }
    static Tokens tokens(const std::string &text) {
        open(text);
        Tokens all;
        for (std::string token = next(); token != "end"; token = next()) all.push_back(token);
        return all;
    }
    // The text of the quoted string that `text` begins with, and what is left unread.
    static std::string quoted(const std::string &text) {
        open(text);
        const std::string token = next();
        EXPECT_EQ(token.substr(0, 4), "326 ");
        return token.substr(4);
    }
    static std::string unread() { return lex_activeBuffer()->data + lex_activeBuffer()->readPos; }
    static std::string owned(char *text) { return OwnedText(text).get(); }
};

TEST_F(TokenizerTest, EveryKeywordHasItsNumberInAnyLetterCase) {
    const std::vector<std::string> words = keywords(),
                                   numbers = words_of_grammar("%token", "%%", "KW_\\w+ (\\d+) \"\\w+\"");
    ASSERT_EQ(numbers.size(), words.size());
    ASSERT_EQ(numbers.front(), "260");
    for (size_t i = 0; i < words.size(); i++) {
        std::string lower = words[i];
        for (char &c : lower) c = static_cast<char>(tolower(c));
        EXPECT_EQ(tokens(words[i]), Tokens{numbers[i] + " " + words[i]});
        EXPECT_EQ(tokens(lower), Tokens{numbers[i] + " " + lower});
    }
}

TEST_F(TokenizerTest, TextsAreCutIntoTokens) {
    const struct {
        const char *behaviour, *text;
        Tokens tokens;
    } rows[] = {
        {"a keyword keeps its spelling", "write Write WRITE", {"260 write", "260 Write", "260 WRITE"}},
        {"only a whole word is one",
         "WRITEX WRIT XWRITE end_of file",
         {"312 WRITEX", "312 WRIT", "312 XWRITE", "312 end_of", "312 file"}},
        {"names of the parser's table that are no keywords",
         "NUM STR STRING WHOLELINE QUOTEDSTRING yacc_EOF error",
         {"312 NUM", "312 STR", "312 STRING", "312 WHOLELINE", "312 QUOTEDSTRING", "312 yacc_EOF", "312 error"}},
        {"the full stop is part of a word", "PATH.TXT .a.b .", {"312 PATH.TXT", "312 .a.b", "312 ."}},
        {"a word ends at a delimiter", "A-B", {"312 A", "-", "312 B"}},
        {"every other character is part of words",
         "a,[b]$&_'c|{}?^~`\x80\xff\x01",
         {"312 a,[b]$&_'c|{}?^~`\x80\xff\x01"}},
        {"delimiters are their own tokens",
         ":;\\/#@%*+-()!=<>",
         {":", ";", "\\", "/", "#", "@", "%", "*", "+", "-", "(", ")", "!", "=", "<", ">"}},
        {"blanks and tabs are skipped", " \t A \t  B\t ", {"312 A", "312 B"}},
        {"an empty line is just its line feed", "\n\n", {"LF", "LF"}},
        {"carriage returns are tokens", "A\r\n\r\r\n", {"312 A", "CR", "LF", "CR", "CR", "LF"}},
        {"the line end of an open quoted string is the next token", "\"abc\n", {"326 abc", "LF"}},
    };
    for (const auto &row : rows) EXPECT_EQ(tokens(row.text), row.tokens) << row.behaviour;
}

TEST_F(TokenizerTest, ExactlyTheDelimitersAreDelimiters) {
    const std::string delimiters(" \t\n\r\0:;\\/\"#@%*+-()!=<>", 22);
    for (int ch = 0; ch < 256; ch++) {
        const bool expected = delimiters.find(static_cast<char>(ch)) != std::string::npos;
        EXPECT_EQ(isDelimeter(ch), expected ? 1 : 0) << ch;
    }
    // Cut to a byte, each of these would be one.
    for (const int ch : {-1, 256, 256 + ' ', 256 + '\n', ' ' - 256, '\n' - 256, INT_MIN, INT_MIN + ' '})
        EXPECT_EQ(isDelimeter(ch), 0) << ch;
}

TEST_F(TokenizerTest, ATokenOfAWordLeavesTheDelimiterUnread) {
    open("word=rest");
    EXPECT_EQ(owned(lex_gettoken(lex_activeBuffer())), "word");
    EXPECT_EQ(unread(), "=rest");
    open("=");
    EXPECT_EQ(owned(lex_gettoken(lex_activeBuffer())), "");
    EXPECT_EQ(unread(), "=");
}

TEST_F(TokenizerTest, ALongWordIsCutAndReadWhole) {
    for (const size_t length : {510U, 511U, 512U, 513U, 10000U}) {
        const std::string word(length, 'w');
        EXPECT_EQ(tokens(word + "=x"), (Tokens{"312 " + word.substr(0, 511), "=", "312 x"}));
    }
}

TEST_F(TokenizerTest, TheEndIsZeroAgainAndAgain) {
    open("A");
    EXPECT_EQ(next(), "312 A");
    for (int i = 0; i < 3; i++) EXPECT_EQ(next(), "end");
}

TEST_F(TokenizerTest, EachLineIsCountedWhenItsFirstTokenIsRead) {
    open("A B\nC\n");
    const int32_t before = linecounter;
    EXPECT_EQ(next(), "312 A");
    EXPECT_EQ(linecounter, before + 1);
    EXPECT_EQ(end_of_line, 0);
    EXPECT_EQ(next(), "312 B");
    EXPECT_EQ(next(), "LF");
    EXPECT_EQ(end_of_line, 1);
    EXPECT_EQ(linecounter, before + 1);
    EXPECT_EQ(next(), "312 C");
    EXPECT_EQ(linecounter, before + 2);
}

TEST_F(TokenizerTest, ACarriageReturnStartsNoLine) {
    open("A\rB");
    const int32_t before = linecounter;
    for (int i = 0; i < 3; i++) next();
    EXPECT_EQ(end_of_line, 0);
    EXPECT_EQ(linecounter, before + 1);
}

TEST_F(TokenizerTest, FetchingALineReadsNothing) {
    open("  rest of it\r\nnext");
    EXPECT_EQ(owned(lex_line_fetch(lex_activeBuffer())), "  rest of it");
    EXPECT_EQ(unread(), "  rest of it\r\nnext");
}

struct LineRow {
    const char *text, *value, *unread;
};

TEST_F(TokenizerTest, ALineEndsBeforeItsLineEnd) {
    static const LineRow rows[] = {{" ROOT H:=SYS:USERS\nx", " ROOT H:=SYS:USERS", "\nx"},
                                   {"a\rb\n", "a", "\rb\n"},
                                   {"to the end", "to the end", ""},
                                   {"\n", "", "\n"},
                                   {"", "", ""}};
    for (const LineRow &row : rows) {
        open(row.text);
        EXPECT_EQ(owned(lex_line(lex_activeBuffer())), row.value);
        EXPECT_EQ(unread(), row.unread);
    }
}

TEST_F(TokenizerTest, WholeLineModeReturnsTheRestOfTheLineUnchangedAndEnds) {
    open("MAP ROOT H:=SYS:USERS \"q\\n\"\t\r\nX");
    EXPECT_EQ(next(), "282 MAP");
    wholeline = 1;
    EXPECT_EQ(next(), "325  ROOT H:=SYS:USERS \"q\\n\"\t");
    EXPECT_EQ(wholeline, 0);
    EXPECT_EQ(next(), "CR");
    EXPECT_EQ(next(), "LF");
    EXPECT_EQ(next(), "312 X");
}

TEST_F(TokenizerTest, WholeLineModeWithNothingLeftIsAnEmptyLine) {
    open("MAP\n");
    next();
    wholeline = 1;
    EXPECT_EQ(next(), "325 ");
    EXPECT_EQ(next(), "LF");
    open("");
    wholeline = 1;
    EXPECT_EQ(next(), "325 ");
    EXPECT_EQ(next(), "end");
}

TEST_F(TokenizerTest, QuotedStringsAreTranslated) {
    static const LineRow rows[] = {{"\"abc\" x", "abc", " x"},
                                   {"\"\"x", "", "x"},
                                   {"\"a\\\"b\"x", "a\"b", "x"},
                                   {"\"a\\r\\n\\7b\"x", "a\r\n\ab", "x"},
                                   {"\"a\\\\b\"x", "a\\b", "x"},
                                   {"\"\\t\\x\\R\\N\"x", "\\t\\x\\R\\N", "x"},
                                   {"\"\\\\n\"x", "\\n", "x"},
                                   {"\" ;%LOGIN_NAME \"x", " ;%LOGIN_NAME ", "x"},
                                   {"\"a\xff\x01\"x", "a\xff\x01", "x"},
                                   // An open one ends with its line or the text.
                                   {"\"abc\nx", "abc", "\nx"},
                                   {"\"abc\r\nx", "abc", "\r\nx"},
                                   {"\"abc", "abc", ""},
                                   {"\"", "", ""},
                                   {"\"\n", "", "\n"},
                                   {"\"abc\\\"\n", "abc\"", "\n"},
                                   // The second backslash and the quote count as an escaped quote, so that the string
                                   // goes on; what is translated then is an escaped backslash and a plain quote.
                                   {"\"a\\\\\"b\nx", "a\\\"b", "\nx"},
                                   // A backslash cut off takes the character that ended the string.
                                   {"\"abc\\\nx", "abc\n", "\nx"},
                                   {"\"abc\\\r\nx", "abc\r", "\r\nx"},
                                   {"\"abc\\", "abc", ""},
                                   {"\"\\", "", ""}};
    for (const LineRow &row : rows) {
        EXPECT_EQ(quoted(row.text), row.value) << row.text;
        EXPECT_EQ(unread(), row.unread) << row.text;
    }
}

TEST_F(TokenizerTest, HomeDirectoryBecomesOneWord) {
    const std::pair<const char *, const char *> rows[] = {
        {"WRITE %HOME DIRECTORY\n", "WRITE %HOME_DIRECTORY\n"},
        {"WRITE \"x\";home directory\n", "WRITE \"x\";home_directory\n"},
        {"x%Home Directory%hOME dIRECTORYx\n", "x%Home_Directory%hOME_dIRECTORYx\n"},
        {" %home directory", " %home_directory"},
        {"%HOME DIRECTORY %HOME DIRECTORY\n", "%HOME DIRECTORY %HOME_DIRECTORY\n"},
        {";HOME DIRECTORY\n", ";HOME DIRECTORY\n"},
        {"WRITE HOME DIRECTORY\n", "WRITE HOME DIRECTORY\n"},
        {"WRITE %HOME  DIRECTORY\n", "WRITE %HOME  DIRECTORY\n"},
        {"WRITE %HOME DIRECTOR\nY", "WRITE %HOME DIRECTOR\nY"},
        {"x\n %HOME DIRECTORY\n", "x\n %HOME DIRECTORY\n"},
        {"\n%HOME DIRECTORY\n", "\n%HOME DIRECTORY\n"},
        {"x\r %HOME DIRECTORY\n", "x\r %HOME DIRECTORY\n"},
        {"", ""},
        {"%", "%"},
    };
    for (const auto &[text, rewritten] : rows) {
        open(text);
        EXPECT_EQ(lex_find_replace_home(lex_activeBuffer()), 0);
        EXPECT_EQ(unread(), rewritten);
    }
}

TEST_F(TokenizerTest, EachLineIsRewrittenBeforeItIsRead) {
    EXPECT_EQ(tokens("A %HOME DIRECTORY\nB %home directory"),
              (Tokens{"312 A", "%", "312 HOME_DIRECTORY", "LF", "312 B", "%", "312 home_directory"}));
    EXPECT_EQ(tokens("\n%HOME DIRECTORY"), (Tokens{"LF", "%", "312 HOME", "312 DIRECTORY"}));
}

TEST_F(TokenizerTest, ALineStartsInWholeLineModeToo) {
    open("A %HOME DIRECTORY\n");
    const int32_t before = linecounter;
    wholeline = 1;
    EXPECT_EQ(next(), "325 A %HOME_DIRECTORY");
    EXPECT_EQ(linecounter, before + 1);
    EXPECT_EQ(end_of_line, 0);
}

TEST_F(TokenizerTest, EachLineIsTraced) {
    open("  A B\r\nC\n");
    const std::string number = std::to_string(linecounter + 1);
    EXPECT_THAT(traces(1, next), HasSubstr("LINENO:" + number + "   A B\n"));
    EXPECT_EQ(traces(1, next), "");
    open("D %HOME DIRECTORY\n");
    EXPECT_THAT(traces(1, next), HasSubstr(" D %HOME_DIRECTORY\n")) << "as it has been rewritten";
}

TEST_F(TokenizerTest, DelimitersAreTraced) {
    open("=\r\n");
    EXPECT_THAT(traces(7, next), HasSubstr("yylex end:cc=\"=\"\n"));
    EXPECT_THAT(traces(7, next), HasSubstr("yylex end:cc=<CR>\n"));
    EXPECT_THAT(traces(7, next), HasSubstr("yylex end:cc=<LF>\n"));
    EXPECT_THAT(traces(7, next), Not(HasSubstr("cc="))) << "the end is none";
}

TEST_F(TokenizerTest, FindingADelimiterIsTraced) {
    EXPECT_THAT(traces(8, [] { isDelimeter('='); }), HasSubstr("delimiter found\n"));
    EXPECT_EQ(traces(8, [] { isDelimeter('x'); }), "");
}

} // namespace
