// The directories that the client knows, beside those that have its own schema: what they call what it hands out.
#ifndef PLATFORM_CLIENT_CORE_PRESETS_H
#define PLATFORM_CLIENT_CORE_PRESETS_H

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/client/core/schema.h"

enum class SitePreset { brasca, rfc2307, rfc2307bis, activeDirectory, automatic };

// From a value as the directory has it to the client's own form (README.md has the forms); nothing for a value that
// says nothing, as a date that means "never".
using PresetConversion = std::function<std::optional<std::string>(const std::string &)>;

// An attribute of the directory that a row of the client's schema is read from.
struct PresetSource {
    std::string attribute;
    PresetConversion convert; // null: as it is
};

// Where the values of a row come from: of several the first that an entry has.
std::vector<PresetSource> preset_sources(SitePreset preset, const SchemaAttribute &row);

// By the name that the configuration has for it; nothing for an unknown one.
std::optional<SitePreset> preset_of(std::string_view name);
const char *preset_name(SitePreset preset);

// Is the row read from this attribute alone, so that a configuration which says so changes nothing?
bool preset_has(SitePreset preset, const SchemaAttribute &row, const std::string &attribute);

#endif
