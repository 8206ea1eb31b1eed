#include "script/input_buffer.h"

#include <climits>
#include <utility>

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

TEST_F(InputBufferTest, TheActiveBufferIsACopyAtTheTopOfTheStack) {
    std::string text = "WRITE\n";
    EXPECT_EQ(lex_addBuffer(text.c_str()), 0);
    text[0] = 'X';
    EXPECT_EQ(content(), "WRITE\n");
    EXPECT_EQ(position(), 0);
    EXPECT_EQ(lex_activeBuffer()->length, 6);
    EXPECT_EQ(ibufstackindex, 1);
    EXPECT_EQ(lex_activeBuffer(), ibufstack[0]);
    EXPECT_EQ(lex_addBuffer(nullptr), 0);
    EXPECT_EQ(lex_activeBuffer(), ibufstack[1]);
    EXPECT_EQ(content(), "") << "a null text is an empty one";
}

TEST_F(InputBufferTest, DroppingFreesTheTopEntryButNotTheLast) {
    EXPECT_EQ(lex_dropBuffer(), 0);
    EXPECT_EQ(ibufstackindex, 0);
    open("bottom");
    open("top");
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(lex_dropBuffer(), 0);
        EXPECT_EQ(ibufstackindex, 1);
        EXPECT_EQ(content(), "bottom");
    }
}

TEST_F(InputBufferTest, AFullStackRefusesTheHundredAndFirstEntry) {
    for (int i = 0; i < 100; i++) ASSERT_EQ(lex_addBuffer("x"), 0);
    LexBuffer *top = lex_activeBuffer();
    EXPECT_EQ(lex_addBuffer("y"), -1);
    EXPECT_EQ(ibufstackindex, 100);
    EXPECT_EQ(lex_activeBuffer(), top);
    EXPECT_EQ(output(), "");
}

TEST_F(InputBufferTest, ReadingAdvancesToTheEndAndLookingAheadDoesNot) {
    open("a\xff\x80");
    for (const int c : {int{'a'}, 255, 128}) {
        const int32_t before = position();
        for (int i = 0; i < 2; i++) EXPECT_EQ(lex_lookaheadchar(lex_activeBuffer()), c);
        EXPECT_EQ(position(), before);
        EXPECT_EQ(lex_getchar(lex_activeBuffer()), c);
    }
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(lex_getchar(lex_activeBuffer()), 0);
        EXPECT_EQ(lex_lookaheadchar(lex_activeBuffer()), 0);
        EXPECT_EQ(position(), 3);
    }
}

TEST_F(InputBufferTest, IncludingSplicesAtTheReadPosition) {
    const struct {
        const char *text;
        int32_t position;
        const char *included, *content;
    } rows[] = {{"old\n", 0, "new", "new\r\nold\n"},
                {"first\nsecond\n", 6, "between\n", "first\nbetween\n\r\nsecond\n"},
                {"abc", 3, "d", "abcd\r\n"}};
    for (const auto &row : rows) {
        open(row.text, row.position);
        EXPECT_EQ(lex_IncludeFile(row.included), 0);
        EXPECT_EQ(content(), row.content);
        EXPECT_EQ(position(), row.position);
    }
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

TEST_F(InputBufferTest, ASecondIncludeSplicesInsideOrBehindTheFirst) {
    open("rest\n");
    lex_IncludeFile("a1\na2\n");
    read_to(3);
    lex_IncludeFile("b\n");
    EXPECT_EQ(unread(), "b\n\r\na2\n\r\nrest\n");
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

TEST_F(InputBufferTest, ATextTooLongForAPositionIsNotPushed) {
    EXPECT_THROW(lex_push(std::string_view("x", INT32_MAX)), std::bad_alloc);
    EXPECT_EQ(ibufstackindex, 0);
}

TEST_F(InputBufferTest, EachTextThatIsMadeIsCounted) {
    uint32_t before = lex_buffers_made();
    const auto oneMore = [&] { return lex_buffers_made() > std::exchange(before, lex_buffers_made()); };
    open("abc");
    EXPECT_TRUE(oneMore());
    lex_IncludeFile("a text that needs another buffer");
    EXPECT_TRUE(oneMore());
    lex_IncludeFile("x");
    EXPECT_TRUE(oneMore()) << "spliced into the same buffer";
    open("def");
    EXPECT_TRUE(oneMore());
}

TEST_F(InputBufferTest, IncludesNestAHundredDeepInOneScriptAndNoDeeper) {
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
    open(std::string(2000, 'y'), 1000);
    EXPECT_EQ(lex_IncludeFile("x\n"), 0);
    EXPECT_EQ(output(), "") << "those of a script that ended within them do not count";
    EXPECT_EQ(lex_activeBuffer()->length, 2004);
}

// Each of many small includes must not copy the whole text.
TEST_F(InputBufferTest, AnyNumberOfIncludesMayFollowOneAnotherAndSeldomCopiesTheText) {
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
    const struct {
        const char *behaviour, *label, *text, *found;
        int32_t from = 0;
    } rows[] = {
        {"between two lines", "LOOP", "first\nLOOP: rest\nlast\n", " rest\nlast\n"},
        {"behind an empty line", "LOOP", "x\n\nLOOP:y\n", "y\n"},
        {"behind an empty first line", "LOOP", "\nLOOP:y\n", "y\n"},
        {"the colon in front", "LOOP", "\n\n\n:LOOP\n", "\n"},
        {"letter case does not count", "LOOP", "x\nloop:\ny\n", "\ny\n"},
        {"nor the label's", "loop", "x\nLoOp:\ny\n", "\ny\n"},
        {"nor with the colon in front", "loop", "x\n:LOOP\ny\n", "\ny\n"},
        {"behind blanks", "LOOP", "x\n  LOOP:\ny\n", "not found"},
        {"the colon behind a blank", "LOOP", "x\n :LOOP\ny\n", "not found"},
        {"behind a carriage return alone", "LOOP", "x\rLOOP:\n:LOO\n", "not found"},
        {"its colon there", "LOOP", "x\r:LOOP\n", "not found"},
        {"on the first line", "LOOP", "LOOP:\ny\n", "not found"},
        {"its colon in front", "LOOP", ":LOOP\ny\n", "not found"},
        {"a blank before the colon", "LOOP", "x\nLOOP :\ny\n", "not found"},
        {"a longer label", "LOOP", "x\nLOOP2:\ny\n", "not found"},
        {"the form with the colon in front matches a prefix", "LABEL", "x\n:LABEL2\ny\n", "2\ny\n"},
        {"the first of them", "LABEL", "x\n:LABEL2\n:LABEL\n", "2\n:LABEL\n", 10},
        {"a line that is the label itself comes first", "LOOP", "x\n:LOOPING\nLOOP:\ny\n", "\ny\n"},
        {"without one the longer label matches", "LOOP", "x\n:LOOPING\ny\n", "ING\ny\n"},
        {"the first matching line, before the position", "A", "x\nA:1\ny\nA:2\n", "1\ny\nA:2\n", 6},
        {"and from the end", "A", "x\nA:1\ny\nA:2\n", "1\ny\nA:2\n", 12},
        {"an unknown label leaves the position", "NONE", "x\nA:\ny\n", "not found", 3},
        {"cut off by the end", "LOOP", "x\nLOO", "not found"},
        {"without its colon", "LOOP", "x\nLOOP", "not found"},
        {"whole with the colon in front", "LOOP", "x\n:LOOP", ""},
    };
    for (const auto &row : rows) EXPECT_EQ(jump(row.label, row.text, row.from), row.found) << row.behaviour;
}

TEST_F(GotoTest, ACallerMayAskForLabelsThatNoScriptCanName) {
    EXPECT_EQ(jump("A B", "x\na b: y\n"), " y\n");
    EXPECT_EQ(jump("A B", "x\n:a b c\nA B:y\n"), "y\n");
    EXPECT_EQ(jump("A B", "x\n:a b c\n"), " c\n");
    EXPECT_EQ(jump("A B", "A B:\nx\nA C:\n"), "not found");
    EXPECT_EQ(jump("A B", "x"), "not found");
}

// The labels are looked for once, and again when the text has changed.
TEST_F(GotoTest, JumpsFindTheTextAsItStands) {
    open("x\nLATER: 1\n:OTHER 2\n", 0);
    const auto jumped = [](const char *label) { return lex_jump(label) ? unread() : "not found"; };
    for (int time = 0; time < 2; time++) {
        EXPECT_EQ(jumped("later"), " 1\n:OTHER 2\n");
        EXPECT_EQ(jumped("oth"), "ER 2\n");
        EXPECT_EQ(jumped("none"), "not found");
    }
    lex_active()->readPos = 0;
    lex_IncludeFile("\nLATER: 0\n:OTHER 0\nnone:");
    EXPECT_EQ(jumped("later").substr(0, 3), " 0\n");
    EXPECT_EQ(jumped("oth").substr(0, 5), "ER 0\n");
    EXPECT_EQ(jumped("none"), "\r\nx\nLATER: 1\n:OTHER 2\n");
    open("x\nNEW: 3\n", 0);
    EXPECT_EQ(jumped("later"), "not found");
    EXPECT_EQ(jumped("new"), " 3\n");
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
