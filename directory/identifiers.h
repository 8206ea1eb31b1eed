// The identifiers of the script language by name (%LOGIN_NAME, %GREETING_TIME, ...), and environment variables.
#ifndef DIRECTORY_IDENTIFIERS_H
#define DIRECTORY_IDENTIFIERS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// The value of the identifier of that name in any letter case, for `object`, which may be null. Throws std::bad_alloc.
std::optional<std::string> identifiers_value(uint32_t handle, const char *object, std::string_view name);

// The value of the environment variable that is named "NAME", "<NAME>" or "%<NAME>", or null. It is the environment's
// own. Throws std::bad_alloc.
const char *identifiers_variable(std::string_view name);

#endif
