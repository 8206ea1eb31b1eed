#include "tools/qrtscript/check/location.h"

#include <algorithm>

#include "platform/terminal_text.h"

namespace {

struct Place {
    size_t line, byteColumn, column;
};

} // namespace

size_t character_count(std::string_view text) {
    size_t count = 0;
    TerminalLetter letter;
    for (size_t at = 0; at < text.size(); at += letter.bytes.size(), ++count) terminal_letter(text.substr(at), &letter);
    return count;
}

std::string utf8_text(std::string_view text) {
    std::string valid;
    TerminalLetter letter;
    for (size_t at = 0; at < text.size(); at += letter.bytes.size()) {
        terminal_letter(text.substr(at), &letter);
        valid += letter.valid ? letter.bytes : std::string_view("\xEF\xBF\xBD");
    }
    return valid;
}

static Place place_of(const Lines &lines, size_t at) {
    const size_t line = lines.line(at);
    const std::string_view text = lines.text(line);
    const size_t bytes = std::min(at - lines.start(line), text.size());
    return {line, bytes + 1, character_count(text.substr(0, bytes)) + 1};
}

Location location_of(const Lines &lines, const Finding &finding) {
    const Place begin = place_of(lines, finding.place);
    // The last byte's line: the piece may include a line end.
    const size_t last = finding.place + std::max<size_t>(finding.length, 1) - 1;
    Place end = begin;
    if (finding.length > 0) {
        const size_t line = lines.line(last);
        const std::string_view text = lines.text(line);
        const size_t bytes = std::min(last + 1 - lines.start(line), text.size());
        end = {line, bytes + 1, character_count(text.substr(0, bytes)) + 1};
    }
    return {begin.line, begin.byteColumn, begin.column, end.line, end.byteColumn, end.column};
}
