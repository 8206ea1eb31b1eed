#include "platform/client/core/directory_store.h"

#include "platform/client/core/values.h"

const std::string *Entry::first(std::string_view ldap) const {
    const SchemaAttribute *attribute = schema_find_ldap(ldap);
    for (const EntryValue &value : values)
        if (value.attribute == attribute) return &value.text;
    return nullptr;
}

std::string entry_common_name(const Entry &entry) {
    if (!entry.name.empty() && entry.name.front().type == "cn") return entry.name.front().value;
    const std::string *common = entry.first("cn");
    return common == nullptr ? "" : *common;
}

bool entry_is_server(const Entry &entry, std::string_view name) {
    return entry.isClass("Server") && (name.empty() || equal_nocase(entry_common_name(entry), name));
}

bool entry_is_volume(const Entry &entry, const Entry &server, std::string_view volume, const Name &base) {
    const std::string *name = entry.first("qrtHostResourceName");
    const std::string *host = entry.first("qrtHostServer");
    return entry.isClass("Volume") && name != nullptr && host != nullptr && equal_nocase(*name, volume) &&
           name_equal(value_parse(schema_dn, *host, base).name, server.name);
}

bool entry_is_of_site(const Entry &entry) {
    return entry.isClass("Server") || entry.isClass("Volume") || entry.isClass("Directory Map");
}
