// Hexadecimal digits in either case.
#ifndef PLATFORM_COMMON_HEX_H
#define PLATFORM_COMMON_HEX_H

#include <optional>
#include <string_view>

// -1 for another character.
inline int hex_digit(char c) {
    return c >= '0' && c <= '9'   ? c - '0'
           : c >= 'a' && c <= 'f' ? c - 'a' + 10
           : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                  : -1;
}

// The byte that the first two characters stand for.
inline std::optional<char> hex_byte(std::string_view text) {
    if (text.size() < 2 || hex_digit(text[0]) < 0 || hex_digit(text[1]) < 0) return std::nullopt;
    return static_cast<char>(hex_digit(text[0]) * 16 + hex_digit(text[1]));
}

#endif
