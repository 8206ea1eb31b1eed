#include "platform/client/core/directory_store.h"

const std::string *Entry::first(std::string_view ldap) const {
    const SchemaAttribute *attribute = schema_find_ldap(ldap);
    for (const EntryValue &value : values) {
        if (value.attribute == attribute) {
            return &value.text;
        }
    }
    return nullptr;
}

std::string entry_common_name(const Entry &entry) {
    if (!entry.name.empty() && entry.name.front().type == "cn") {
        return entry.name.front().value;
    }
    const std::string *common = entry.first("cn");
    return common == nullptr ? "" : *common;
}
