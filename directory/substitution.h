// Replacing the identifier references in a text.
//
//     reference:  "%" name | "%" quote text quote | "%<" variable ">" | the same with "<" for "%" once no "%" is left
//     name:       up to a blank, tab, line break, quote or one of # @ \ / : ( ) , . % - ; or up to and with a ">"
//
// After each replacement the scan starts again at the beginning, so references inside a value are replaced in turn.
#ifndef DIRECTORY_SUBSTITUTION_H
#define DIRECTORY_SUBSTITUTION_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/text.h"

// A value that names itself would be replaced for ever: the text is left as it then stands after so many replacements,
// or when it has grown by more than so many bytes.
inline constexpr int substitution_most_replacements = 100000;
inline constexpr size_t substitution_most_growth = 1u << 20;

// The replaced text. Throws std::bad_alloc: a statement whose text cannot be made ends the script rather than run with
// another one.
OwnedText substitution_of(uint32_t handle, std::string_view text);

// The same; a text without a reference is returned as it is.
OwnedText substitution_in(uint32_t handle, OwnedText text);

#endif
