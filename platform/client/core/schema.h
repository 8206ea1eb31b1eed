// What the directory's names mean: which LDAP attribute and which syntax stand behind a directory attribute, and which
// base class an entry has. README.md shows both tables and the grammar of the values.
#ifndef PLATFORM_CLIENT_CORE_SCHEMA_H
#define PLATFORM_CLIENT_CORE_SCHEMA_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The syntaxes that zk.h leaves to the client: all of them are returned as strings.
enum : uint32_t { schema_dn = 1, schema_text = 3, schema_boolean = 7, schema_telephone = 10, schema_stream = 21 };

struct SchemaAttribute {
    const char *name; // the directory's name, null: read by the client itself and never returned
    const char *ldap;
    uint32_t syntax;
    size_t limit; // bytes of a value in the data
};

struct SchemaClass {
    const char *ldap;
    const char *base;
    bool container; // may have entries below it
};

// All attributes, in the order in which "all attributes" are returned. A pointer into the table is an attribute's
// identity.
const std::vector<SchemaAttribute> &schema_attributes();

// By directory name: without regard to case, "_" equal to a blank. Null when there is none.
const SchemaAttribute *schema_find(std::string_view name);

// By LDAP name or one of its synonyms ("commonName"), without regard to case. Null when there is none.
const SchemaAttribute *schema_find_ldap(std::string_view ldap);

// The class that an entry with these objectClass values is of; a row with the base "Unknown" when none is listed.
const SchemaClass *schema_class_of(const std::vector<std::string_view> &objectClasses);

// The directory's name of one LDAP class; the LDAP name itself when the table does not list it.
std::string schema_class_name(std::string_view ldap);

#endif
