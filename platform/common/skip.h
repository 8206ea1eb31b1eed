// What a text begins with and what does not count.
#ifndef PLATFORM_COMMON_SKIP_H
#define PLATFORM_COMMON_SKIP_H

#include <algorithm>
#include <string_view>

// The text from its first character that is none of these.
inline std::string_view skip_any(std::string_view text, std::string_view characters) {
    return text.substr(std::min(text.find_first_not_of(characters), text.size()));
}

#endif
