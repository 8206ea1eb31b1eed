// What a directory that was not made for this client calls the things that the client hands out: the presets, and what
// the configuration changes in them.
#ifndef PLATFORM_CLIENT_CORE_SITE_SCHEMA_H
#define PLATFORM_CLIENT_CORE_SITE_SCHEMA_H

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/client/core/config.h"
#include "platform/client/core/schema.h"

// From a value as the directory has it to the client's own form (README.md has the forms); nothing for a value that
// says nothing, as a date that means "never".
using SiteConversion = std::function<std::optional<std::string>(const std::string &)>;

// An attribute of the directory that a row of the client's schema is read from.
struct SiteSource {
    std::string attribute;
    SiteConversion convert; // null: as it is
};

struct SiteSchema {
    // Where the values of a row come from: the first source that has any. Rows without a source cannot be had.
    std::unordered_map<const SchemaAttribute *, std::vector<SiteSource>> sources;
    std::map<std::string, std::string> classes; // the directory's class in lower case -> the client's
    std::vector<std::string> loginAttributes;   // a user can be named by any of them
    std::string userType;                       // the type of a user's name that nobody can look up
    std::string dnAttribute;                    // the attribute that holds an entry's own DN
    std::string userName;                       // names users in place of their DN; empty: the DN does
    bool listsAccounts = false;                 // groups may have their members' names in place of their DNs

    // The attribute that a row is read from, or asked for by; of several the first.
    const std::string &attributeOf(std::string_view ldap) const;
    // The client's name of a class of the directory; most have their own.
    std::string_view classOf(const std::string &theirs) const;
};

// `config.schema` must not be automatic.
SiteSchema site_schema(const ConfigLdap &config);

// The preset by its name in the configuration; nothing for an unknown one.
std::optional<SitePreset> site_preset(std::string_view name);
const char *site_preset_name(SitePreset preset);

// Whether the schema of the preset has this row under the same name: a change to it would do nothing.
bool site_schema_has(SitePreset preset, const SchemaAttribute &row, const std::string &attribute);

#endif
