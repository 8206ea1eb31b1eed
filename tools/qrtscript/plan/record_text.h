// The texts of a record: in UTF-8, and without what must not be shown.
#ifndef TOOLS_QRTSCRIPT_PLAN_RECORD_TEXT_H
#define TOOLS_QRTSCRIPT_PLAN_RECORD_TEXT_H

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

using Json = nlohmann::ordered_json;

// Bytes of a script or a directory as text for JSON: what is not UTF-8 is shown as "\xE4".
std::string record_text(std::string_view bytes);

// A line of a script without what stands behind the ";" of TREE and ATTACH.
std::string record_line(std::string_view line);

// Does the name of a variable or an attribute suggest a secret?
bool record_name_is_secret(std::string_view name);

extern const char *const record_hidden; // in the place of a secret

#endif
