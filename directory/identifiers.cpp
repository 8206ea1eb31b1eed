#include "directory/identifiers.h"

#include <algorithm>
#include <cstdlib>

#include "directory/attributes.h"
#include "directory/identifier_rules.h"
#include "qrtscript.h"

// The walk does not stop at a match: a later row of the same name would win.
std::optional<std::string> identifiers_value(uint32_t handle, const char *object, std::string_view name) {
    std::optional<std::string> found;
    if (name.empty()) return found;
    // Every word of a text is compared with every name: most differ in their first letter.
    const char first = lower_case(name.front());
    for (const QrtIdentifier *row = itable; row->name != nullptr; row++) {
        if (lower_case(*row->name) != first || !equal_nocase(row->name, name)) continue;
        std::string value;
        if (identifier_rules_value({handle, object}, row->code, value)) found = std::move(value);
    }
    return found;
}

uint32_t identifiers_look_up(uint32_t handle, const std::optional<std::string> &object, const char *name,
                             OwnedText &value) {
    const char *asked = object ? object->c_str() : nullptr;
    OwnedText found = text_copy_or_null(identifiers_value(handle, asked, name));
    const uint32_t code = found ? 0 : attributes_text(handle, asked, name, found);
    // A user variable that is not set is a failure and an empty text.
    if (code == 0) value = std::move(found);
    return code;
}

const char *identifiers_variable(std::string_view name) {
    while (!name.empty() && (name.front() == '%' || name.front() == '<')) name.remove_prefix(1);
    return getenv(std::string(name.substr(0, name.find('>'))).c_str());
}
