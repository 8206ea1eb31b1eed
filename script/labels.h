// Where a script's labels stand, so that a jump need not read the script again.
#ifndef SCRIPT_LABELS_H
#define SCRIPT_LABELS_H

#include <cstdint>
#include <optional>
#include <string_view>

// The index of the first character behind the label in the text as it stands: behind the first line from the
// top, the very first excepted, that begins with "label:", or else with ":label" and whatever follows, in any letter
// case.
std::optional<int32_t> labels_find(std::string_view text, std::string_view label);

// To be called when the text of the last search has changed or is about to go: the labels are looked for again.
void labels_forget();

#endif
