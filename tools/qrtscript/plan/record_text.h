// The texts of a record: in UTF-8, and without what must not be shown.
#ifndef TOOLS_QRTSCRIPT_PLAN_RECORD_TEXT_H
#define TOOLS_QRTSCRIPT_PLAN_RECORD_TEXT_H

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

using Json = nlohmann::ordered_json;

// Bytes of a script or a directory as text for JSON: what is not UTF-8 is shown as "\xE4".
std::string record_text(std::string_view bytes);

// A line of a script with `record_hidden` in the place of each secret (tools/qrtscript/secret_lines.h), as bytes. What
// may be a mistyped TREE, ATTACH or SET counts where the line `isUnread`, or begins with no keyword.
std::string record_line(std::string_view line, bool isUnread = false);

// The same for a word of a command, such as "--password=...".
std::string record_word(std::string_view word);

// The secrets that are written in the line, or anything that stands in their place.
std::vector<std::string> record_secrets(std::string_view line);

// Whether the word stands where the line has a secret.
bool record_is_in_secret(std::string_view line, std::string_view word);

extern const char *const record_hidden; // in the place of a secret

#endif
