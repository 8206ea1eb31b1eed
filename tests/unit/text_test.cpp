#include "base/text.h"
#include "include/exported.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>

namespace {

char *heap(const char *text) {
    return text_copy(text).release();
}

TEST(TextCopy, CopiesTheBytesAndNullStaysNull) {
    const OwnedText copy = text_copy(std::string_view("abcdef", 3));
    EXPECT_STREQ(copy.get(), "abc");
    EXPECT_EQ(text_copy_or_null(nullptr), nullptr);
    EXPECT_STREQ(text_copy_or_null("x").get(), "x");
}

TEST(TextWipe, OverwritesTheWholeText) {
    char secret[] = "pass";
    text_wipe(secret);
    EXPECT_EQ(memcmp(secret, "\0\0\0\0\0", sizeof secret), 0);
    text_wipe(nullptr);
}

TEST(TextCompare, FoldsOnlyTheAsciiLetters) {
    const struct {
        const char *a;
        const char *b;
        int sign;
    } rows[] = {
        {"abc", "ABC", 0}, {"", "", 0},    {"abc", "abd", -1},   {"abd", "ABC", 1}, {"ab", "abc", -1},
        {"abc", "ab", 1},  {"5", "10", 1}, {"\xC4", "\xE4", -1}, {"_", "A", -1},    {"\xE4", "z", 1},
        {"az", "AZ", 0},   {"@", "`", -1}, {"[", "{", -1},
    };
    for (const auto &row : rows) {
        const int result = text_compare_nocase(row.a, row.b);
        EXPECT_EQ((result > 0) - (result < 0), row.sign) << row.a << " and " << row.b;
        EXPECT_EQ(equal_nocase(row.a, row.b), row.sign == 0) << row.a << " and " << row.b;
    }
}

TEST(TextNumber, TakesTheLeadingDecimalNumber) {
    const struct {
        const char *text;
        int number;
    } rows[] = {
        {"12", 12},        {"  -7x", -7},           {"+3", 3}, {"", 0}, {"x1", 0}, {"010", 10}, {"0x10", 0},
        {"4294967297", 1}, {"2147483648", INT_MIN},
    };
    for (const auto &row : rows) EXPECT_EQ(text_number(row.text), row.number) << row.text;
}

TEST(TextJoiners, PutTheirSeparatorBetween) {
    char a[] = "map";
    char b[] = " G:=SYS:  ";
    EXPECT_STREQ(OwnedText(util_concat_filespec(a, b)).get(), "map/ G:=SYS:  ");
    EXPECT_STREQ(OwnedText(util_concat_strings(a, b)).get(), "map  G:=SYS:  ");
    EXPECT_STREQ(OwnedText(util_concat_strings_nos(a, b)).get(), "map G:=SYS:  ");
    EXPECT_STREQ(a, "map");
    EXPECT_STREQ(b, " G:=SYS:  ");
}

TEST(TextJoiners, DoNotSuppressASeparatorThatIsThere) {
    char a[] = "dir/";
    char b[] = "/file";
    EXPECT_STREQ(OwnedText(util_concat_filespec(a, b)).get(), "dir///file");
}

TEST(TextJoiners, JoinEmptyTexts) {
    char empty[] = "";
    EXPECT_STREQ(OwnedText(util_concat_strings(empty, empty)).get(), " ");
    EXPECT_STREQ(OwnedText(util_concat_strings_nos(empty, empty)).get(), "");
}

TEST(TextJoiners, HandBackTheOtherArgumentForANull) {
    char text[] = "text";
    for (auto *join : {util_concat_filespec, util_concat_strings, util_concat_strings_nos}) {
        EXPECT_EQ(join(nullptr, text), text);
        EXPECT_EQ(join(text, nullptr), text);
        EXPECT_EQ(join(nullptr, nullptr), nullptr);
    }
}

TEST(TextReplace, ReplacesOnlyTheFirstOccurrence) {
    const struct {
        const char *text;
        const char *find;
        const char *replacement;
        const char *result;
    } rows[] = {
        {"a%Xb%Xc", "%X", "", "ab%Xc"}, {"hello %N", "%N", "world", "hello world"},
        {"abc", "", "X", "Xabc"},       {"abc", "abc", "", ""},
        {"Abc", "a", "X", "Abc"},       {"abc", "b", "bbbb", "abbbbc"},
    };
    for (const auto &row : rows) {
        const OwnedText result(util_parse_replace_string(heap(row.text), row.find, row.replacement));
        EXPECT_STREQ(result.get(), row.result) << row.text << ": " << row.find;
    }
}

TEST(TextReplace, HandsBackTheTextItselfWhenThereIsNothingToReplace) {
    const OwnedText text = text_copy("abc");
    EXPECT_EQ(util_parse_replace_string(text.get(), "x", "y"), text.get());
    EXPECT_EQ(util_parse_replace_string(text.get(), nullptr, "y"), text.get());
    EXPECT_EQ(util_parse_replace_string(text.get(), "a", nullptr), text.get());
    EXPECT_STREQ(text.get(), "abc");
    EXPECT_EQ(util_parse_replace_string(nullptr, "a", "b"), nullptr);
}

} // namespace
