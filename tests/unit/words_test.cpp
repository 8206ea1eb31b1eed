#include "base/words.h"
#include "include/exported.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using Words = std::vector<std::string>;

TEST(WordsSplit, SplitsAtBlanks) {
    const struct {
        const char *what;
        const char *line;
        Words words;
    } rows[] = {
        {"an empty line", "", {}},
        {"a line of blanks", "    ", {}},
        {"runs of blanks", "  map   ROOT  G:=SYS:  ", {"map", "ROOT", "G:=SYS:"}},
        {"a tab is no blank", "a\tb c", {"a\tb", "c"}},
        {"a quoted section keeps its quotes and its blank",
         "prog \"two words\" last",
         {"prog", "\"two words\"", "last"}},
        {"a quoted section inside a word", "p a=\"b c\"d e", {"p", "a=\"b c\"d", "e"}},
        {"two quoted sections", "p \"a b\" x \"c d\"", {"p", "\"a b\"", "x", "\"c d\""}},
        {"blanks between two sections", "p \"a b\" \"c d\"", {"p", "\"a b\"", "\"c d\""}},
        {"an empty section", "p \"\" a", {"p", "\"\"", "a"}},
        {"a quote that is never closed", "p \"a b", {"p", "\"a", "b"}},
        {"a third quote that is never closed", "p \"a b\" \"c d", {"p", "\"a b\"", "\"c", "d"}},
        {"escaped quotes do not group", "p \\\"a b\\\" c", {"p", "\"a", "b\"", "c"}},
        {"an escaped quote inside a section", "p \"a \\\" b\" c", {"p", "\"a \" b\"", "c"}},
        {"the program's name keeps its placeholder", "\"my prog\" \"a b\"", {"\"my_prog\"", "\"a b\""}},
    };
    for (const auto &row : rows) EXPECT_EQ(words_split(row.line), row.words) << row.what;
}

TEST(WordsSplit, ChoosesAPlaceholderThatTheLineDoesNotHold) {
    const struct {
        const char *held;
        char placeholder;
    } rows[] = {{"", '_'}, {"_", '~'}, {"_~", '`'}, {"_~`", '@'}, {"_~`@", '?'}, {"?", '_'}};
    for (const auto &row : rows) {
        std::string line = std::string("p \"a b\" ") + row.held;
        EXPECT_EQ(prescanForQuotedStrings(line.data()), row.placeholder);
        EXPECT_EQ(line, std::string("p \"a") + row.placeholder + "b\" " + row.held);
        EXPECT_EQ(words_split((std::string("p x") + row.held + " \"a b\"").c_str()),
                  (Words{"p", std::string("x") + row.held, "\"a b\""}));
    }
}

TEST(WordsSplit, SplitsQuotedTextWhenAllPlaceholdersOccur) {
    EXPECT_EQ(words_split("p_~`@? \"a b\""), (Words{"p_~`@?", "\"a", "b\""}));
}

TEST(WordsSplit, ALineWithPlaceholderCharactersButNoQuoteStaysAsItIs) {
    EXPECT_EQ(words_split("a_b c~d"), (Words{"a_b", "c~d"}));
}

TEST(Prescan, ChangesNothingWithoutAQuote) {
    char line[] = "a b c";
    EXPECT_EQ(prescanForQuotedStrings(line), '\0');
    EXPECT_STREQ(line, "a b c");
}

TEST(Prescan, HidesOnlyTheBlanksBetweenTheQuotes) {
    char line[] = " a \" b  c \" d ";
    EXPECT_EQ(prescanForQuotedStrings(line), '_');
    EXPECT_STREQ(line, " a \"_b__c_\" d ");
}

TEST(GetQuote, FindsTheFirstQuote) {
    char line[] = "ab\"cd\"";
    EXPECT_EQ(getQuote(line), line + 2);
    EXPECT_EQ(getQuote(line + 3), line + 5);
    EXPECT_EQ(getQuote(line + 6), nullptr);
}

TEST(GetQuote, RemovesTheBackslashOfTheQuotesThatItPasses) {
    char line[] = "a\\\"b\\\"c\"d\\\"";
    char *quote = getQuote(line);
    EXPECT_STREQ(line, "a\"b\"c\"d\\\"  ");
    EXPECT_EQ(quote, line + 5);
}

TEST(GetQuote, KeepsTheLengthWithABlankForEachBackslash) {
    char line[] = "\\\"x\\\"";
    EXPECT_EQ(getQuote(line), nullptr);
    EXPECT_STREQ(line, "\"x\"  ");
}

TEST(GetQuote, AQuoteAtTheStartIsAlwaysReal) {
    char line[] = "\\\"x";
    EXPECT_EQ(getQuote(line + 1), line + 1);
    EXPECT_STREQ(line, "\\\"x");
}

TEST(GetQuote, ReportsANullOnStandardOutput) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(getQuote(nullptr), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "ERROR, called getQuote(NULL)\n");
}

TEST(Prescan, ReportsANullOnStandardOutput) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(prescanForQuotedStrings(nullptr), '\0');
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "ERROR, called prescanForQuotedStrings(NULL)\n");
}

TEST(ReplaceChar, ReplacesEveryOccurrenceByABlank) {
    char text[] = "_a__b_";
    replaceChar(text, '_');
    EXPECT_STREQ(text, " a  b ");
}

} // namespace
