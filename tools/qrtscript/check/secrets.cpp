#include "tools/qrtscript/check/secrets.h"

#include <algorithm>

#include "platform/common/nocase.h"

static bool is_word_letter(char c) {
    return (c >= '0' && c <= '9') || (lower_case(c) >= 'a' && lower_case(c) <= 'z') || c == '_';
}

// Where a word that a password may follow ends; npos without one.
static size_t behind_keyword(std::string_view line) {
    for (size_t at = 0; at < line.size();) {
        size_t end = at;
        while (end < line.size() && is_word_letter(line[end])) ++end;
        const std::string_view word = line.substr(at, end - at);
        if (equal_nocase(word, "TREE") || equal_nocase(word, "ATTACH")) return end;
        at = std::max(end, at + 1);
    }
    return line.npos;
}

std::string secrets_masked(std::string_view text) {
    std::string masked(text);
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find_first_of("\r\n", start), text.size());
        const std::string_view line = text.substr(start, end - start);
        const size_t keyword = behind_keyword(line);
        const size_t sign = keyword == line.npos ? line.npos : line.find(';', keyword);
        if (sign != line.npos)
            std::fill(masked.begin() + static_cast<long>(start + sign + 1), masked.begin() + static_cast<long>(end),
                      '*');
        start = end + 1;
    }
    return masked;
}
