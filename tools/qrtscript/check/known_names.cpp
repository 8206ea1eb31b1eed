#include "tools/qrtscript/check/known_names.h"

#include <algorithm>
#include <string>

#include "include/qrtscript.h"
#include "platform/client/core/schema.h"
#include "platform/common/nocase.h"

static bool is_identifier(std::string_view name) {
    for (const QrtIdentifier *row = itable; row->name != nullptr; ++row)
        if (equal_nocase(row->name, name)) return true;
    return false;
}

static bool is_script_variable(std::string_view name) {
    return name.size() == 1 && name[0] >= '0' && name[0] <= '9';
}

// As scripts write it: "_" for each blank.
static bool is_attribute(std::string_view name) {
    const auto &all = schema_attributes();
    return std::any_of(all.begin(), all.end(), [&](const SchemaAttribute &one) {
        if (one.name == nullptr) return false;
        std::string written = one.name;
        std::replace(written.begin(), written.end(), ' ', '_');
        return equal_nocase(written, name);
    });
}

bool name_is_known(std::string_view name) {
    return is_identifier(name) || is_script_variable(name) || is_attribute(name);
}

std::vector<std::string_view> known_names() {
    static const std::vector<std::string> attributes = [] {
        std::vector<std::string> names;
        for (const SchemaAttribute &one : schema_attributes()) {
            if (one.name == nullptr) continue;
            names.emplace_back(one.name);
            for (char &c : names.back()) c = c == ' ' ? '_' : upper_case(c);
        }
        return names;
    }();
    std::vector<std::string_view> names;
    for (const QrtIdentifier *row = itable; row->name != nullptr; ++row) names.emplace_back(row->name);
    names.insert(names.end(), attributes.begin(), attributes.end());
    return names;
}

bool name_may_have_blanks(std::string_view name) {
    static constexpr std::string_view identifiers[] = {"FULL_NAME", "LAST_NAME", "HOUR", "HOURS"};
    const auto same = [&](std::string_view one) { return equal_nocase(one, name); };
    if (std::any_of(std::begin(identifiers), std::end(identifiers), same)) return true;
    return !is_identifier(name) && (is_attribute(name) || (is_script_variable(name) && name[0] > '1'));
}

bool name_may_be_missing(std::string_view name) {
    return equal_nocase(name, "HOME_DIRECTORY") || (!is_identifier(name) && name != "0" && name != "1");
}
