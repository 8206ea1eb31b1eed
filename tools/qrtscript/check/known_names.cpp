#include "tools/qrtscript/check/known_names.h"

#include <algorithm>
#include <string>
#include <unordered_set>

#include "include/qrtscript.h"
#include "platform/client/core/schema.h"
#include "platform/common/nocase.h"

using Names = std::unordered_set<std::string>;

static std::string upper(std::string_view name) {
    std::string text(name);
    std::transform(text.begin(), text.end(), text.begin(), upper_case);
    return text;
}

static bool is_identifier(std::string_view name) {
    static const Names identifiers = [] {
        Names names;
        for (const QrtIdentifier *row = itable; row->name != nullptr; ++row) names.insert(upper(row->name));
        return names;
    }();
    return identifiers.count(upper(name)) != 0;
}

static bool is_script_variable(std::string_view name) {
    return name.size() == 1 && name[0] >= '0' && name[0] <= '9';
}

// As scripts write them: "_" for each blank.
static const Names &attributes() {
    static const Names attributes = [] {
        Names names;
        for (const SchemaAttribute &one : schema_attributes()) {
            if (one.name == nullptr) continue;
            std::string written = upper(one.name);
            std::replace(written.begin(), written.end(), ' ', '_');
            names.insert(std::move(written));
        }
        return names;
    }();
    return attributes;
}

static bool is_attribute(std::string_view name) {
    return attributes().count(upper(name)) != 0;
}

bool name_is_known(std::string_view name) {
    return is_identifier(name) || is_script_variable(name) || is_attribute(name);
}

std::vector<std::string_view> known_names() {
    std::vector<std::string_view> names;
    for (const QrtIdentifier *row = itable; row->name != nullptr; ++row) names.emplace_back(row->name);
    names.insert(names.end(), attributes().begin(), attributes().end());
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
