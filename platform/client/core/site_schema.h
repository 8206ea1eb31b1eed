// What the servers of a tree call the things that the client hands out: a preset, and what the configuration changes in
// it.
#ifndef PLATFORM_CLIENT_CORE_SITE_SCHEMA_H
#define PLATFORM_CLIENT_CORE_SITE_SCHEMA_H

#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/client/core/config.h"
#include "platform/client/core/presets.h"
#include "platform/client/core/schema.h"

struct SiteSchema {
    // Where the values of a row come from: the first source that has any. Rows without a source cannot be had.
    std::unordered_map<const SchemaAttribute *, std::vector<PresetSource>> sources;
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

#endif
