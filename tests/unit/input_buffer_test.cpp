#include "script/input_buffer.h"

#include <climits>

#include "tests/unit/session_fixture.h"

namespace {

class InputBufferTest : public SessionTest {
  protected:
    // Makes `text` the active buffer, read up to `position`.
    static void open(const std::string &text, int32_t position = 0) {
        lex_addBuffer(text.c_str());
        lex_activeBuffer()->readPos = position;
    }
    static void read_to(int32_t position) { lex_activeBuffer()->readPos = position; }
    static std::string content() {
        const LexBuffer *buffer = lex_activeBuffer();
        EXPECT_EQ(strlen(buffer->data), static_cast<size_t>(buffer->length));
        return buffer->data;
    }
    static std::string unread() { return content().substr(static_cast<size_t>(lex_activeBuffer()->readPos)); }
    static int32_t position() { return lex_activeBuffer()->readPos; }
};

TEST_F(InputBufferTest, ANewEntryHoldsACopyOfTheTextAtItsBeginning) {
    std::string text = "WRITE\n";
    EXPECT_EQ(lex_addBuffer(text.c_str()), 0);
    text[0] = 'X';
    EXPECT_EQ(content(), "WRITE\n");
    EXPECT_EQ(position(), 0);
    EXPECT_EQ(lex_activeBuffer()->length, 6);
    EXPECT_EQ(ibufstackindex, 1);
}

TEST_F(InputBufferTest, ANullTextIsAnEmptyOne) {
    EXPECT_EQ(lex_addBuffer(nullptr), 0);
    ASSERT_NE(lex_activeBuffer()->data, nullptr);
    EXPECT_EQ(lex_activeBuffer()->data[0], '\0');
    EXPECT_EQ(lex_activeBuffer()->length, 0);
}

TEST_F(InputBufferTest, TheActiveBufferIsTheTopEntry) {
    open("one");
    EXPECT_EQ(lex_activeBuffer(), ibufstack[0]);
    open("two");
    EXPECT_EQ(lex_activeBuffer(), ibufstack[1]);
    EXPECT_EQ(content(), "two");
}

TEST_F(InputBufferTest, AFullStackRefusesTheHundredAndFirstEntry) {
    for (int i = 0; i < 100; i++) ASSERT_EQ(lex_addBuffer("x"), 0);
    LexBuffer *top = lex_activeBuffer();
    EXPECT_EQ(lex_addBuffer("y"), -1);
    EXPECT_EQ(ibufstackindex, 100);
    EXPECT_EQ(lex_activeBuffer(), top);
    EXPECT_EQ(output(), "");
}

TEST_F(InputBufferTest, DroppingWithOneEntryOnTheStackDoesNothing) {
    open("only");
    EXPECT_EQ(lex_dropBuffer(), 0);
    EXPECT_EQ(ibufstackindex, 1);
    EXPECT_EQ(content(), "only");
}

TEST_F(InputBufferTest, DroppingAnEmptyStackDoesNothing) {
    EXPECT_EQ(lex_dropBuffer(), 0);
    EXPECT_EQ(ibufstackindex, 0);
}

TEST_F(InputBufferTest, DroppingFreesTheTopEntry) {
    open("bottom");
    open("top");
    EXPECT_EQ(lex_dropBuffer(), 0);
    EXPECT_EQ(ibufstackindex, 1);
    EXPECT_EQ(content(), "bottom");
}

TEST_F(InputBufferTest, ReadingAdvancesAndLookingAheadDoesNot) {
    open("ab");
    EXPECT_EQ(lex_lookaheadchar(lex_activeBuffer()), 'a');
    EXPECT_EQ(lex_lookaheadchar(lex_activeBuffer()), 'a');
    EXPECT_EQ(lex_getchar(lex_activeBuffer()), 'a');
    EXPECT_EQ(position(), 1);
    EXPECT_EQ(lex_getchar(lex_activeBuffer()), 'b');
}

TEST_F(InputBufferTest, ReadingPastTheEndReturnsZeroRepeatedlyAndStays) {
    open("a");
    lex_getchar(lex_activeBuffer());
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(lex_getchar(lex_activeBuffer()), 0);
        EXPECT_EQ(lex_lookaheadchar(lex_activeBuffer()), 0);
        EXPECT_EQ(position(), 1);
    }
}

TEST_F(InputBufferTest, CharactersAreUnsigned) {
    open("\xff\x80");
    EXPECT_EQ(lex_lookaheadchar(lex_activeBuffer()), 255);
    EXPECT_EQ(lex_getchar(lex_activeBuffer()), 255);
    EXPECT_EQ(lex_getchar(lex_activeBuffer()), 128);
}

TEST_F(InputBufferTest, IncludingAtPositionZeroPutsTheTextInFront) {
    open("old\n");
    EXPECT_EQ(lex_IncludeFile("new"), 0);
    EXPECT_EQ(content(), "new\r\nold\n");
    EXPECT_EQ(position(), 0);
}

TEST_F(InputBufferTest, IncludingSplicesAtTheReadPosition) {
    open("first\nsecond\n", 6);
    lex_IncludeFile("between\n");
    EXPECT_EQ(content(), "first\nbetween\n\r\nsecond\n");
    EXPECT_EQ(position(), 6);
    EXPECT_EQ(unread(), "between\n\r\nsecond\n");
}

TEST_F(InputBufferTest, IncludingAtTheEndAppends) {
    open("abc", 3);
    lex_IncludeFile("d");
    EXPECT_EQ(content(), "abcd\r\n");
    EXPECT_EQ(position(), 3);
}

TEST_F(InputBufferTest, IncludingAnEmptyTextChangesNothing) {
    open("abc", 1);
    const LexBuffer *before = lex_activeBuffer();
    EXPECT_THAT(traces(5, [] { EXPECT_EQ(lex_IncludeFile(""), 0); }), HasSubstr("quick return, buffer length = 0\n"));
    EXPECT_EQ(lex_activeBuffer(), before);
    EXPECT_EQ(content(), "abc");
    EXPECT_EQ(position(), 1);
}

TEST_F(InputBufferTest, IncludingReplacesTheEntryInItsSlot) {
    open("bottom");
    open("top");
    lex_IncludeFile("x");
    EXPECT_EQ(ibufstackindex, 2);
    EXPECT_EQ(content(), "x\r\ntop");
    EXPECT_STREQ(ibufstack[0]->data, "bottom");
}

TEST_F(InputBufferTest, ASecondIncludeFromInsideTheFirstIsReadBeforeItsRest) {
    open("rest\n");
    lex_IncludeFile("a1\na2\n");
    read_to(3);
    lex_IncludeFile("b\n");
    EXPECT_EQ(unread(), "b\n\r\na2\n\r\nrest\n");
}

TEST_F(InputBufferTest, ASecondIncludeBehindTheFirstSplicesThere) {
    open("one\ntwo\n", 4);
    lex_IncludeFile("a\n");
    read_to(8);
    lex_IncludeFile("b\n");
    EXPECT_EQ(content(), "one\na\n\r\nb\n\r\ntwo\n");
}

TEST_F(InputBufferTest, ATextTooLongForAPositionIsNotIncluded) {
    open("abc", 1);
    LexBuffer *before = lex_activeBuffer();
    before->length = INT32_MAX - 3;
    EXPECT_THAT(traces(1, [] { EXPECT_EQ(lex_IncludeFile("xyz"), 0); }), HasSubstr("Include failed, Out of memory\n"));
    EXPECT_EQ(traces(0, [] { lex_IncludeFile("xyz"); }), "");
    EXPECT_EQ(output(), "memory exhaustedmemory exhausted");
    EXPECT_EQ(lex_activeBuffer(), before);
    before->length = 3;
    EXPECT_EQ(content(), "abc");
    EXPECT_EQ(position(), 1);
}

TEST_F(InputBufferTest, IncludesNestAHundredDeepAndNoDeeper) {
    open("end\n");
    for (int i = 0; i < 100; i++) {
        lex_IncludeFile("x\n");
        read_to(position() + 2);
    }
    EXPECT_EQ(output(), "");
    const std::string before = content();
    EXPECT_EQ(lex_IncludeFile("x\n"), 0);
    EXPECT_EQ(output(), "memory exhausted");
    EXPECT_EQ(content(), before);
}

TEST_F(InputBufferTest, TheIncludesOfAScriptThatEndedWithinThemDoNotCount) {
    open("end\n");
    for (int i = 0; i < 100; i++) {
        lex_IncludeFile("x\n");
        read_to(position() + 2);
    }
    open(std::string(2000, 'y'), 1000);
    EXPECT_EQ(lex_IncludeFile("x\n"), 0);
    EXPECT_EQ(output(), "");
    EXPECT_EQ(lex_activeBuffer()->length, 2004);
}

TEST_F(InputBufferTest, AnyNumberOfIncludesMayFollowOneAnother) {
    open("end\n");
    for (int i = 0; i < 1000; i++) {
        lex_IncludeFile("x\n");
        read_to(position() + 4);
    }
    EXPECT_EQ(output(), "");
    EXPECT_EQ(unread(), "end\n");
}

TEST_F(InputBufferTest, AnyNumberOfIncludesMayBeMadeAtOnePlace) {
    open("LOOP\nend\n");
    for (int i = 0; i < 1000; i++) {
        read_to(5);
        lex_IncludeFile("x\n");
    }
    EXPECT_EQ(output(), "");
}

TEST_F(InputBufferTest, TheIncludesOfAScriptAreSixtyFourMebibytesTogetherAndNoMore) {
    open("end\n");
    const std::string half(size_t{32} << 20, 'x');
    lex_IncludeFile(half.c_str());
    lex_IncludeFile(half.c_str());
    EXPECT_EQ(output(), "");
    const int32_t length = lex_activeBuffer()->length;
    EXPECT_EQ(length, (64 << 20) + 8);
    EXPECT_EQ(lex_IncludeFile("y"), 0);
    EXPECT_EQ(output(), "memory exhausted");
    EXPECT_EQ(lex_activeBuffer()->length, length);
    open("next\n");
    EXPECT_EQ(lex_IncludeFile("y"), 0);
    EXPECT_EQ(output(), "");
    EXPECT_EQ(content(), "y\r\nnext\n");
}

// Or many small includes would copy the text as often.
TEST_F(InputBufferTest, ManyIncludesSeldomCopyTheText) {
    open("end\n");
    int copies = 0;
    for (int i = 0; i < 10000; i++) {
        const LexBuffer *before = lex_activeBuffer();
        lex_IncludeFile("x\n");
        read_to(position() + 4);
        if (lex_activeBuffer() != before) copies++;
    }
    EXPECT_LT(copies, 30);
    EXPECT_EQ(content().size(), 40004u);
}

TEST_F(InputBufferTest, IncludingIsTraced) {
    open("old");
    lex_IncludeFile("new");
    const std::string shown = traces(9, [] { lex_IncludeFile("more"); });
    EXPECT_THAT(shown, HasSubstr("(8): new\r\nold\n"));
    EXPECT_THAT(shown, HasSubstr("(14): more\r\nnew\r\nold\n"));
    EXPECT_THAT(shown, HasSubstr("readPos 0 length 14 character 109\n"));
    EXPECT_THAT(shown, AllOf(HasSubstr(" 0: m\n"), HasSubstr(" 2: r\n")));
}

// Where reading goes on after a jump to `label` in `text`, or "not found".
class GotoTest : public InputBufferTest {
  protected:
    static std::string jump(const std::string &label, const std::string &text, int32_t from = 0) {
        open(text, from);
        const int result = lex_goto(label.c_str());
        if (result == 0) return unread();
        EXPECT_EQ(result, 1);
        EXPECT_EQ(position(), from);
        return "not found";
    }
};

TEST_F(GotoTest, ReadingGoesOnRightBehindTheColon) {
    EXPECT_EQ(jump("LOOP", "first\nLOOP: rest\nlast\n"), " rest\nlast\n");
}

TEST_F(GotoTest, ALabelMayStandBehindEmptyLines) {
    EXPECT_EQ(jump("LOOP", "x\n\nLOOP:y\n"), "y\n");
    EXPECT_EQ(jump("LOOP", "\nLOOP:y\n"), "y\n");
    EXPECT_EQ(jump("LOOP", "\n\n\n:LOOP\n"), "\n");
}

TEST_F(GotoTest, LetterCaseDoesNotCount) {
    EXPECT_EQ(jump("LOOP", "x\nloop:\ny\n"), "\ny\n");
    EXPECT_EQ(jump("loop", "x\nLoOp:\ny\n"), "\ny\n");
    EXPECT_EQ(jump("loop", "x\n:LOOP\ny\n"), "\ny\n");
}

TEST_F(GotoTest, ALabelBehindBlanksIsNone) {
    EXPECT_EQ(jump("LOOP", "x\n  LOOP:\ny\n"), "not found");
    EXPECT_EQ(jump("LOOP", "x\n :LOOP\ny\n"), "not found");
}

TEST_F(GotoTest, ALabelBehindACarriageReturnAloneIsNone) {
    EXPECT_EQ(jump("LOOP", "x\rLOOP:\n:LOO\n"), "not found");
    EXPECT_EQ(jump("LOOP", "x\r:LOOP\n"), "not found");
}

TEST_F(GotoTest, ALabelOnTheFirstLineIsNeverFound) {
    EXPECT_EQ(jump("LOOP", "LOOP:\ny\n"), "not found");
    EXPECT_EQ(jump("LOOP", ":LOOP\ny\n"), "not found");
}

TEST_F(GotoTest, TheColonFollowsTheLabelDirectly) {
    EXPECT_EQ(jump("LOOP", "x\nLOOP :\ny\n"), "not found");
    EXPECT_EQ(jump("LOOP", "x\nLOOP2:\ny\n"), "not found");
}

TEST_F(GotoTest, TheFormWithTheColonInFrontMatchesAPrefix) {
    EXPECT_EQ(jump("LABEL", "x\n:LABEL2\ny\n"), "2\ny\n");
    EXPECT_EQ(jump("LABEL", "x\n:LABEL2\n:LABEL\n", 10), "2\n:LABEL\n") << "the first of them";
}

TEST_F(GotoTest, ALongerLabelMatchesOnlyWhenNoLineIsTheLabelItself) {
    EXPECT_EQ(jump("LOOP", "x\n:LOOPING\nLOOP:\ny\n"), "\ny\n");
    EXPECT_EQ(jump("LOOP", "x\n:LOOPING\ny\n"), "ING\ny\n");
}

TEST_F(GotoTest, TheFirstMatchingLineWinsWhereverReadingStands) {
    const std::string text = "x\nA:1\ny\nA:2\n";
    EXPECT_EQ(jump("A", text, 6), "1\ny\nA:2\n");
    EXPECT_EQ(jump("A", text, static_cast<int32_t>(text.size())), "1\ny\nA:2\n");
}

TEST_F(GotoTest, AnUnknownLabelLeavesThePosition) {
    EXPECT_EQ(jump("NONE", "x\nA:\ny\n", 3), "not found");
}

TEST_F(GotoTest, ALabelCutOffByTheEndIsNone) {
    EXPECT_EQ(jump("LOOP", "x\nLOO"), "not found");
    EXPECT_EQ(jump("LOOP", "x\nLOOP"), "not found");
    EXPECT_EQ(jump("LOOP", "x\n:LOOP"), "");
}

TEST_F(GotoTest, IncludedLabelsAreFound) {
    open("x\n", 2);
    lex_IncludeFile("a\nINNER:here\n");
    EXPECT_EQ(lex_goto("INNER"), 0);
    EXPECT_EQ(unread(), "here\n\r\n");
}

TEST_F(GotoTest, ALabelOverTheLimitIsNotFound) {
    const std::string longest(77, 'L');
    EXPECT_EQ(jump(longest, "x\n" + longest + ":y\n"), "y\n");
    EXPECT_EQ(jump(longest, "x\n:" + longest + "y\n"), "y\n");
    for (const size_t length : {78U, 79U, 80U, 500U, 100000U}) {
        const std::string label(length, 'L');
        EXPECT_EQ(jump(label, "x\n" + label + ":y\n:" + label + "\n"), "not found");
    }
}

} // namespace
