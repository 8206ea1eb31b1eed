#include "platform/client/ldif/rewrite.h"

#include <algorithm>
#include <cstdint>

static constexpr size_t line_width = 76;

static std::string base64_of(std::string_view bytes) {
    static constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (size_t i = 0; i < bytes.size(); i += 3) {
        const size_t there = std::min<size_t>(3, bytes.size() - i);
        uint32_t bits = 0;
        for (size_t j = 0; j < 3; j++) bits = bits << 8 | (j < there ? static_cast<unsigned char>(bytes[i + j]) : 0u);
        for (size_t j = 0; j < 4; j++) text += j <= there ? digits[bits >> (18 - 6 * j) & 63] : '=';
    }
    return text;
}

// As RFC 2849 has SAFE-STRING, and without a blank at the end, which is easily lost.
static bool is_safe(std::string_view value) {
    if (value.empty()) return true;
    const char first = value.front();
    const auto isPlain = [](char c) { return c >= ' ' && c <= '~'; };
    return first != ' ' && first != ':' && first != '<' && value.back() != ' ' &&
           std::all_of(value.begin(), value.end(), isPlain);
}

static std::string line_of(std::string_view attribute, std::string_view value, std::string_view lineEnd) {
    std::string whole(attribute);
    if (value.empty())
        whole += ":";
    else if (is_safe(value) && attribute.size() + 2 + value.size() <= line_width)
        whole.append(": ").append(value);
    else
        whole.append(":: ").append(base64_of(value));
    std::string folded = whole.substr(0, line_width);
    for (size_t at = line_width; at < whole.size(); at += line_width - 1)
        folded.append(lineEnd).append(" ").append(whole, at, line_width - 1);
    return folded;
}

// Where the physical line that begins at `at` ends, its line end included.
static size_t line_after(std::string_view text, size_t at) {
    const size_t end = text.find('\n', at);
    return end == text.npos ? text.size() : end + 1;
}

std::string ldif_rewritten(std::string_view text, const LdifChange &change) {
    size_t start = change.record;
    for (unsigned line = change.line; line < change.attributeLine; line++) start = line_after(text, start);
    size_t end = line_after(text, start);
    const size_t firstEnd = end;
    while (end < text.size() && text[end] == ' ') end = line_after(text, end);
    if (change.isFurther) start = end;

    // Of a line without an end, the last one of the file, that of the line before decides.
    const size_t example = firstEnd > 0 && text[firstEnd - 1] == '\n' ? firstEnd - 1 : text.rfind('\n');
    const bool isDos = example != text.npos && example > 0 && text[example - 1] == '\r';
    const std::string_view lineEnd = isDos ? "\r\n" : "\n";
    const bool isEnded = end > 0 && text[end - 1] == '\n';

    std::string result(text.substr(0, start));
    // A file may end in the middle of a line end.
    if (change.isFurther && !isEnded) result += end > 0 && text[end - 1] == '\r' ? "\n" : lineEnd;
    if (change.value) {
        result += line_of(change.attribute, *change.value, lineEnd);
        if (isEnded) result += lineEnd;
    }
    return result.append(text.substr(end));
}
