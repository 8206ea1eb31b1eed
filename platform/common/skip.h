// What does not count in a text: what it begins with, what a backslash takes the meaning from.
#ifndef PLATFORM_COMMON_SKIP_H
#define PLATFORM_COMMON_SKIP_H

#include <algorithm>
#include <string_view>

// The text from its first character that is none of these.
inline std::string_view skip_any(std::string_view text, std::string_view characters) {
    return text.substr(std::min(text.find_first_not_of(characters), text.size()));
}

// The position of the next `c` that no backslash precedes, or npos.
inline size_t find_unescaped(std::string_view text, char c) {
    for (size_t i = 0; i < text.size(); i++)
        if (text[i] == '\\')
            i++;
        else if (text[i] == c)
            return i;
    return std::string_view::npos;
}

#endif
