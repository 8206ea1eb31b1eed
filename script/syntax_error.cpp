#include "script/syntax_error.h"

#include <string_view>

#include "frame/output.h"
#include "script/input_buffer.h"

int32_t syntax_error = 0;

// A line behind more line ends than this is not the one with the mistake, and is not searched for.
constexpr size_t quote_reach = 4096;

// The line of the read position, which is the one before it when the position stands on a line end. It is the text of
// `buffer` from the result on, up to `end`; null where there is no line.
static char *quoted_line(LexBuffer *buffer, char *&end) {
    constexpr std::string_view ends("\r\n\0", 3);
    const std::string_view text(buffer->data, static_cast<size_t>(buffer->length) + 1);
    if (buffer->readPos <= 0) return nullptr;
    const size_t position = static_cast<size_t>(buffer->readPos);
    const size_t reach = position < quote_reach ? 0 : position - quote_reach;
    const size_t last = text.substr(reach, position - reach + 1).find_last_not_of(ends);
    if (last == text.npos) return nullptr;
    const size_t before = text.find_last_of(ends, reach + last);
    const size_t start = before == text.npos ? 0 : before + 1;
    end = buffer->data + text.find_first_of(ends, start);
    return buffer->data + start;
}

// Without a copy of the line: this is also how it is told that memory has run out.
static void say_line(LexBuffer *buffer) {
    char *end = nullptr;
    const char *line = quoted_line(buffer, end);
    const char kept = line ? *end : '\0';
    if (line) *end = '\0';
    say("The original line was:\n%s\n\n", line ? line : "bogus");
    if (line) *end = kept;
}

void yyerror(const char *message) {
    syntax_error = 1;
    output_put("\n");
    say("Script error.\n");
    say_line(lex_activeBuffer());
    TRACE(5, "parse error unexpected input: %s", message);
}
