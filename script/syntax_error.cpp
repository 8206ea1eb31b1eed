#include "script/syntax_error.h"

#include <string>
#include <string_view>

#include "frame/output.h"
#include "script/input_buffer.h"

int32_t syntax_error = 0;

// A line behind more line ends than this is not the one with the mistake, and is not searched for.
constexpr size_t quote_reach = 4096;

// The line of the read position, which is the one before it when the position stands on a line end.
static std::string quoted_line(const LexBuffer *buffer) {
    constexpr std::string_view ends("\r\n\0", 3);
    const std::string_view text(buffer->data, static_cast<size_t>(buffer->length) + 1);
    if (buffer->readPos <= 0) return "bogus";
    const size_t position = static_cast<size_t>(buffer->readPos);
    const size_t reach = position < quote_reach ? 0 : position - quote_reach;
    const size_t last = text.substr(reach, position - reach + 1).find_last_not_of(ends);
    if (last == text.npos) return "bogus";
    const size_t before = text.find_last_of(ends, reach + last);
    const size_t start = before == text.npos ? 0 : before + 1;
    return std::string(text.substr(start, text.find_first_of(ends, start) - start));
}

void yyerror(const char *message) {
    syntax_error = 1;
    const std::string line = quoted_line(lex_activeBuffer());
    output_put("\n");
    say("Script error.\n");
    say("The original line was:\n%s\n\n", line.c_str());
    TRACE(5, "parse error unexpected input: %s", message);
}
