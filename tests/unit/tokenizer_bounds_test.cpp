// The edges of the tokenizer: what is just outside of its tables, and what its traces leave out.
#include <climits>

#include "tests/unit/session_fixture.h"

namespace {

using TokenizerBoundsTest = SessionTest;

TEST_F(TokenizerBoundsTest, WhatIsNoByteIsNoDelimiter) {
    // Cut to a byte, each of these would be one.
    for (const int ch : {256, 256 + ' ', 256 + '\n', ' ' - 256, '\n' - 256, INT_MIN, INT_MIN + ' '})
        EXPECT_EQ(isDelimeter(ch), 0) << ch;
    EXPECT_EQ(isDelimeter(-1), 0);
    EXPECT_EQ(isDelimeter(255), 0);
}

TEST_F(TokenizerBoundsTest, RewritingALineReturnsZero) {
    lex_addBuffer("x %HOME DIRECTORY\n");
    EXPECT_EQ(lex_find_replace_home(lex_activeBuffer()), 0);
}

TEST_F(TokenizerBoundsTest, TheEndIsNoDelimiterInTheTraces) {
    lex_addBuffer("");
    EXPECT_THAT(traces(7, yylex), Not(HasSubstr("cc=")));
}

} // namespace
