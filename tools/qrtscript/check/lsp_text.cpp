#include "tools/qrtscript/check/lsp_text.h"

#include <algorithm>

#include "platform/terminal_text.h"

void LspText::findLines() {
    lines_ = {{0, true}};
    for (size_t at = 0; at < text_.size(); ++at) {
        if (static_cast<unsigned char>(text_[at]) >= 0x80) lines_.back().isAscii = false;
        const bool ends = text_[at] == '\n' || (text_[at] == '\r' && (at + 1 == text_.size() || text_[at + 1] != '\n'));
        if (ends) lines_.push_back({at + 1, true});
    }
    knownOffset_ = knownUnits_ = knownLine_ = 0;
}

std::string_view LspText::content(size_t line) const {
    const size_t end = line + 1 < lines_.size() ? lines_[line + 1].start : text_.size();
    std::string_view found = std::string_view(text_).substr(lines_[line].start, end - lines_[line].start);
    if (!found.empty() && found.back() == '\n') found.remove_suffix(1);
    if (!found.empty() && found.back() == '\r') found.remove_suffix(1);
    return found;
}

// The units of the first letter of `text`, which is not empty; a byte that belongs to no character counts as one.
static size_t units_of(std::string_view text, TerminalLetter *letter) {
    constexpr char32_t first_of_two = 0x10000;
    terminal_letter(text, letter);
    return letter->valid && letter->code >= first_of_two ? 2 : 1;
}

size_t LspText::offset(LspPosition position) const {
    if (position.line >= lines_.size()) return text_.size();
    const Line &line = lines_[position.line];
    const std::string_view written = content(position.line);
    if (encoding_ == LspEncoding::utf8 || line.isAscii)
        return line.start + std::min(position.character, written.size());
    size_t units = 0, at = 0;
    TerminalLetter letter;
    while (at < written.size()) {
        units += units_of(written.substr(at), &letter);
        if (units > position.character) break;
        at += letter.bytes.size();
    }
    return line.start + at;
}

LspPosition LspText::position(size_t offset) const {
    const auto isBehind = [](size_t place, const Line &line) { return place < line.start; };
    const auto found = std::upper_bound(lines_.begin(), lines_.end(), offset, isBehind);
    const auto line = static_cast<size_t>(found - lines_.begin()) - 1;
    const size_t start = lines_[line].start;
    if (encoding_ == LspEncoding::utf8 || lines_[line].isAscii) return {line, offset - start};
    const bool goesOn = line == knownLine_ && offset >= knownOffset_ && knownOffset_ >= start;
    size_t units = goesOn ? knownUnits_ : 0, at = goesOn ? knownOffset_ : start;
    TerminalLetter letter;
    while (at < offset && at < text_.size()) {
        const size_t one = units_of(std::string_view(text_).substr(at), &letter);
        if (at + letter.bytes.size() > offset) break;
        units += one;
        at += letter.bytes.size();
    }
    knownLine_ = line;
    knownOffset_ = at;
    knownUnits_ = units;
    return {line, units};
}

void LspText::replace(size_t begin, size_t end, std::string_view text) {
    text_.replace(begin, end - begin, text);
    findLines();
}
