// What a mistyped name was probably meant to be.
#ifndef PLATFORM_COMMON_NEAREST_NAME_H
#define PLATFORM_COMMON_NEAREST_NAME_H

#include <string_view>
#include <vector>

// The one of `names` that `word` was probably meant to be, in any letter case; empty when none is near.
std::string_view nearest_name(std::string_view word, const std::vector<std::string_view> &names);

#endif
