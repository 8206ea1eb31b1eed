// Where a script's labels stand, so that a jump need not read the script again.
#ifndef SCRIPT_LABELS_H
#define SCRIPT_LABELS_H

#include <optional>
#include <string_view>

#include "script/input_buffer.h"

// The index of the first character behind the label in the buffer's text as it stands: behind the first line from the
// top, the very first excepted, that begins with "label:", or else with ":label" and whatever follows, in any letter
// case.
std::optional<int32_t> labels_find(const LexBuffer &buffer, std::string_view label);

// To be called when the text has changed or is about to go: the labels are looked for again.
void labels_forget();

#endif
