// The identifiers of the script language by name (%LOGIN_NAME, %GREETING_TIME, ...), and environment variables.
#ifndef DIRECTORY_IDENTIFIERS_H
#define DIRECTORY_IDENTIFIERS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/text.h"

// The value of the identifier of that name in any letter case, for `object`, which may be null.
std::optional<std::string> identifiers_value(uint32_t handle, const char *object, std::string_view name);

// That of an identifier, else of an attribute of the object. Returns 0 or the code of reading the attribute; `value` is
// set for 0 only.
uint32_t identifiers_look_up(uint32_t handle, const std::optional<std::string> &object, const char *name,
                             OwnedText &value);

// The value of the environment variable that is named "NAME", "<NAME>" or "%<NAME>", or null. It is the environment's
// own.
const char *identifiers_variable(std::string_view name);

#endif
