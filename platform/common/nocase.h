// Comparison without regard to the case of ASCII letters; other bytes count as they are.
#ifndef PLATFORM_COMMON_NOCASE_H
#define PLATFORM_COMMON_NOCASE_H

#include <algorithm>
#include <string_view>

inline char lower_case(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

inline char upper_case(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

inline bool equal_nocase(std::string_view a, std::string_view b) {
    const auto same = [](char x, char y) { return lower_case(x) == lower_case(y); };
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), same);
}

#endif
