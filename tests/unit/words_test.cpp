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
        {"an empty section closes before the next one opens", "p \"\" a \"b c\" d", {"p", "\"\"", "a", "\"b c\"", "d"}},
        {"a section may follow another at once", "p \"a b\"\"c d\" e", {"p", "\"a b\"\"c d\"", "e"}},
        {"quoted text when all placeholders occur", "p_~`@? \"a b\"", {"p_~`@?", "\"a", "b\""}},
        {"placeholder characters without a quote", "a_b c~d", {"a_b", "c~d"}},
    };
    for (const auto &row : rows) EXPECT_EQ(words_split(row.line), row.words) << row.what;
}

TEST(WordsSplit, ChoosesAPlaceholderThatTheLineDoesNotContain) {
    const struct {
        const char *present;
        char placeholder;
    } rows[] = {{"", '_'}, {"_", '~'}, {"_~", '`'}, {"_~`", '@'}, {"_~`@", '?'}, {"?", '_'}};
    for (const auto &row : rows) {
        std::string line = std::string("p \"a b\" ") + row.present;
        EXPECT_EQ(prescanForQuotedStrings(line.data()), row.placeholder);
        EXPECT_EQ(line, std::string("p \"a") + row.placeholder + "b\" " + row.present);
        EXPECT_EQ(words_split((std::string("p x") + row.present + " \"a b\"").c_str()),
                  (Words{"p", std::string("x") + row.present, "\"a b\""}));
    }
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

TEST(ReplaceChar, ReplacesEveryOccurrenceByABlank) {
    char text[] = "_a__b_";
    replaceChar(text, '_');
    EXPECT_STREQ(text, " a  b ");
}

} // namespace
