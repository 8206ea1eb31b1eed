// Which names of variables and attributes suggest a secret: what has one is shown by no program behind qrtscript.
#ifndef TOOLS_QRTSCRIPT_SECRET_NAMES_H
#define TOOLS_QRTSCRIPT_SECRET_NAMES_H

#include <string_view>

// Whether the name suggests a password, a key or the like, in any letter case and however its words are joined. When a
// password expires is no secret.
bool secret_name(std::string_view name);

// The same for a variable with its value: PWD is also where a shell keeps its directory.
bool secret_variable(std::string_view name, std::string_view value);

#endif
