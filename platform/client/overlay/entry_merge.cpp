#include "platform/client/overlay/entry_merge.h"

#include <algorithm>
#include <cstring>

static bool is_among(const char *name, std::initializer_list<const char *> names) {
    return std::any_of(
        names.begin(), names.end(), [name](const char *one) { return strcmp(one, name) == 0; });
}

// As in schema/qrt.schema, and in the standard schemas.
bool entry_attribute_is_single(const SchemaAttribute &attribute) {
    const bool isOurs = strncmp(attribute.ldap, "qrt", strlen("qrt")) == 0;
    return isOurs ? !is_among(attribute.ldap, {"qrtNetworkAddress", "qrtServerUser"})
                  : is_among(attribute.ldap, {"c", "dc", "displayName", "employeeNumber", "preferredLanguage",
                                              "aliasedObjectName", "uidNumber", "modifyTimestamp"});
}

void entry_replace(const SchemaAttribute *attribute, const std::string &value, Entry *entry) {
    const auto isOld = [attribute](const EntryValue &one) { return one.attribute == attribute; };
    entry->values.erase(std::remove_if(entry->values.begin(), entry->values.end(), isOld), entry->values.end());
    entry->values.push_back({attribute, value});
}

void entry_merge(const Entry &addition, Entry *entry) {
    for (const EntryValue &value : addition.values) {
        if (strcmp(value.attribute->ldap, "objectClass") == 0) continue;
        const auto isSame = [&](const EntryValue &one) {
            return one.attribute == value.attribute && name_fold(one.text) == name_fold(value.text);
        };
        if (entry_attribute_is_single(*value.attribute))
            entry_replace(value.attribute, value.text, entry);
        else if (std::none_of(entry->values.begin(), entry->values.end(), isSame))
            entry->values.push_back(value);
    }
}
