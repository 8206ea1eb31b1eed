// The tokenizer and the input buffer.
//
//     input ::= script [ NUL label [ NUL included text ] ]
//
// The script is read to its end; then the read position goes to the label, the text is spliced in there, and the rest
// is read once more.
#include "language/tokenizer.h"

#include "base/output.h"
#include "base/text.h"
#include "qrtscript.h"
// Behind the interface's headers, which declare the parser's names with their linkage.
#include "include/exported.h"
#include "language/actions.h"
#include "language/grammar.tab.h"
#include "tests/fuzz/fuzz.h"

static bool is_line_end(char c) {
    return c == '\r' || c == '\n';
}

// What stands before the read position after a token with a text has been read.
static void check_word(const LexBuffer *buffer, int32_t before, int number, std::string_view text) {
    const std::string_view read(buffer->data + before, static_cast<size_t>(buffer->readPos - before));
    if (number == WHOLELINE) {
        FUZZ_CHECK(text == read);
        FUZZ_CHECK(text.find_first_of("\r\n") == text.npos);
        FUZZ_CHECK(buffer->readPos == buffer->length || is_line_end(buffer->data[buffer->readPos]));
        return;
    }
    const std::string_view body = read.substr(read.find_first_not_of(" \t"));
    if (number == QUOTEDSTRING) {
        FUZZ_CHECK(body.front() == '"' && text.size() <= body.size());
        return;
    }
    FUZZ_CHECK(text == body.substr(0, lex_max_word));
    for (const char c : body) FUZZ_CHECK(!isDelimeter(static_cast<unsigned char>(c)));
    FUZZ_CHECK(isDelimeter(lex_lookaheadchar(lex_activeBuffer())));
}

// The statements whose rest is one token.
static bool wants_line(int number) {
    return number == KW_MAP || number == KW_PATH || number == KW_REM || number == KW_REMARK || number == '#' ||
           number == '@';
}

static void read_all() {
    const LexBuffer *buffer = lex_activeBuffer();
    for (int32_t steps = 0;; steps++) {
        const int32_t before = buffer->readPos;
        FUZZ_CHECK(steps <= 2 * buffer->length + 2);
        static char untouched[] = "";
        yylval.text = untouched;
        const int number = yylex();
        FUZZ_CHECK(before <= buffer->readPos && buffer->readPos <= buffer->length);
        FUZZ_CHECK(buffer->data[buffer->length] == '\0');
        if (number < 256) FUZZ_CHECK(yylval.text == untouched);
        if (number == 0) break;
        if (number < 256) {
            FUZZ_CHECK(isDelimeter(number) && buffer->data[buffer->readPos - 1] == static_cast<char>(number));
        } else {
            check_word(buffer, before, number, yylval.text);
            free(yylval.text);
        }
        wholeline = wants_line(number);
    }
    FUZZ_CHECK(buffer->readPos == buffer->length);
    FUZZ_CHECK(yylex() == 0);
}

static void jump(std::string_view label) {
    ExactText name(label);
    LexBuffer *buffer = lex_activeBuffer();
    if (lex_goto(name.data()) != 0) return;
    const std::string_view read(buffer->data, static_cast<size_t>(buffer->readPos));
    const std::string before = "\n" + std::string(label) + ":", after = "\n:" + std::string(label);
    const auto ends_in = [read](const std::string &end) {
        return read.size() >= end.size() && equal_nocase(read.substr(read.size() - end.size()), end);
    };
    FUZZ_CHECK(ends_in(before) || ends_in(after));
}

static void splice(std::string_view included) {
    const LexBuffer *buffer = lex_activeBuffer();
    const auto position = static_cast<size_t>(buffer->readPos);
    std::string expected(buffer->data, static_cast<size_t>(buffer->length));
    if (!included.empty()) expected.insert(position, std::string(included) + "\r\n");
    ExactText text(included);
    lex_IncludeFile(text.data());
    buffer = lex_activeBuffer();
    FUZZ_CHECK(std::string_view(buffer->data, static_cast<size_t>(buffer->length)) == expected);
    FUZZ_CHECK(static_cast<size_t>(buffer->readPos) == position);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string_view rest = fuzz_view(data, size);
    ExactText script(fuzz_take(rest, '\0'));
    const std::string_view label = fuzz_take(rest, '\0');
    const std::string_view included = fuzz_take(rest, '\0');
    ibufstackindex = 0;
    end_of_line = 1;
    wholeline = 0;
    FUZZ_CHECK(lex_addBuffer(script.data()) == 0);
    read_all();
    if (!label.empty() || !included.empty()) {
        jump(label);
        splice(included);
        read_all();
    }
    lex_free_active_buffer();
    return 0;
}
