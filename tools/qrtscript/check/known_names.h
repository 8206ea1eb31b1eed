// The names that scripts can use, as far as they are known without a directory.
#ifndef TOOLS_QRTSCRIPT_CHECK_KNOWN_NAMES_H
#define TOOLS_QRTSCRIPT_CHECK_KNOWN_NAMES_H

#include <string_view>
#include <vector>

// Whether a name, in any letter case, is an identifier of the language, a script variable (%2) or an attribute of the
// client's table. A directory may have further attributes.
bool name_is_known(std::string_view name);

// All of them, for "did you mean".
std::vector<std::string_view> known_names();

// Whether the value may have blanks in it, as a person's full name has.
bool name_may_have_blanks(std::string_view name);

// Whether it may have no value: an attribute of the user, or a script variable.
bool name_may_be_missing(std::string_view name);

#endif
