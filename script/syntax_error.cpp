#include "script/syntax_error.h"

#include <string_view>

#include "base/output.h"
#include "include/exported.h"
#include "script/input_buffer.h"

int32_t syntax_error = 0;

static constexpr std::string_view line_ends("\r\n\0", 3);

// A run of line ends that is longer than this is remembered, so that a text that consists of them is not searched anew
// from each mistake in it.
constexpr size_t long_run = 4096;

static struct {
    uint32_t buffer; // of lex_buffers_made()
    const char *text;
    size_t start, end;
} known_run = {};

// Where the line ends begin that `text` ends with: 0 when there is nothing else.
static size_t start_of_line_ends(std::string_view text) {
    const bool known = known_run.buffer == lex_buffers_made() && known_run.text == text.data();
    const bool behind = known && known_run.end <= text.size();
    const size_t from = behind ? known_run.end : 0;
    const size_t last = text.substr(from).find_last_not_of(line_ends);
    const size_t start = last != text.npos ? from + last + 1 : behind ? known_run.start : 0;
    if (text.size() - start > long_run) known_run = {lex_buffers_made(), text.data(), start, text.size()};
    return start;
}

// The line of the read position, which is the one before it when the position stands on a line end. It is the text of
// `buffer` from the result on, up to `end`; null where there is no line.
static char *quoted_line(LexBuffer *buffer, char *&end) {
    if (buffer == nullptr || buffer->readPos <= 0) return nullptr;
    const std::string_view text(buffer->data, static_cast<size_t>(buffer->length) + 1);
    const size_t behind = start_of_line_ends(text.substr(0, static_cast<size_t>(buffer->readPos) + 1));
    if (behind == 0) return nullptr;
    const size_t before = text.find_last_of(line_ends, behind - 1);
    const size_t start = before == text.npos ? 0 : before + 1;
    end = buffer->data + text.find_first_of(line_ends, start);
    return buffer->data + start;
}

// Without a copy of the line: this is also done when memory has run out.
static void say_line(LexBuffer *buffer) {
    char *end = nullptr;
    const char *line = quoted_line(buffer, end);
    const char kept = line != nullptr ? *end : '\0';
    if (line != nullptr) *end = '\0';
    say("The original line was:\n%s\n\n", line != nullptr ? line : "bogus");
    if (line != nullptr) *end = kept;
}

void syntax_error_report(const char *message) {
    syntax_error = 1;
    output_put("\n");
    say("Script error.\n");
    say_line(lex_active());
    TRACE(yyerror, 5, "parse error unexpected input: %s", message);
}
