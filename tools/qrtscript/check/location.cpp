#include "tools/qrtscript/check/location.h"

#include <algorithm>
#include <cwchar>

#include "platform/terminal_text.h"

size_t character_count(std::string_view text) {
    size_t count = 0;
    TerminalLetter letter;
    for (size_t at = 0; at < text.size(); at += letter.bytes.size(), ++count) terminal_letter(text.substr(at), &letter);
    return count;
}

size_t column_count(std::string_view text) {
    size_t count = 0;
    TerminalLetter letter;
    for (size_t at = 0; at < text.size(); at += letter.bytes.size()) {
        terminal_letter(text.substr(at), &letter);
        const int width = letter.valid ? wcwidth(static_cast<wchar_t>(letter.code)) : 1;
        count += width < 0 ? 1 : static_cast<size_t>(width); // below 0: not known in this locale
    }
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

std::string_view line_for_report(const Lines &lines, size_t line) {
    constexpr size_t most = 1000;
    return lines.text(line).substr(0, most);
}

Locations::Place Locations::place(size_t line, size_t bytes) {
    const std::string_view text = lines_.text(line);
    bytes = std::min(bytes, text.size());
    if (counted_.line != line || counted_.byteColumn > bytes + 1) counted_ = {line, 1, 1};
    TerminalLetter letter;
    while (counted_.byteColumn <= bytes) {
        terminal_letter(text.substr(counted_.byteColumn - 1), &letter);
        // What ends within a character counts its bytes.
        if (counted_.byteColumn - 1 + letter.bytes.size() > bytes)
            return {line, bytes + 1, counted_.column + bytes + 1 - counted_.byteColumn};
        counted_.byteColumn += letter.bytes.size();
        ++counted_.column;
    }
    return counted_;
}

LinePlace Locations::of(const Finding &finding) {
    const size_t line = lines_.line(finding.place);
    const Place begin = place(line, finding.place - lines_.start(line));
    Place end = begin;
    if (finding.length > 0) {
        // The last byte's line: the piece may include a line end.
        const size_t last = finding.place + finding.length - 1, lastLine = lines_.line(last);
        end = place(lastLine, last + 1 - lines_.start(lastLine));
    }
    return {begin.line, begin.byteColumn, begin.column, end.line, end.byteColumn, end.column};
}
