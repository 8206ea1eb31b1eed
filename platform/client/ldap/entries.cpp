#include "platform/client/ldap/entries.h"

#include <algorithm>
#include <cstring>

#include "platform/client/core/errors.h"
#include "platform/client/core/plain_values.h"
#include "platform/client/core/values.h"
#include "platform/zk.h"

// Both count what is below an entry; the second only says whether there is anything.
static constexpr const char *subordinate_count = "numSubordinates";
static constexpr const char *has_subordinates = "hasSubordinates";

LdapEntries::LdapEntries(const ConfigLdap &config, const Name &treeBase, bool takesAnyName)
    : base_(treeBase), anyName_(takesAnyName) {
    for (const SchemaAttribute &row : schema_attributes()) {
        auto renamed = config.attributes.find(row.ldap);
        std::string name = renamed == config.attributes.end() ? row.ldap : renamed->second;
        rows_.emplace(name_type(name), &row); // one of theirs may be several of ours
        names_.emplace(&row, name);
    }
}

const std::string &LdapEntries::siteName(const char *ldap) const {
    return names_.at(schema_find_ldap(ldap));
}

std::vector<std::string> LdapEntries::attributes(bool withMembers) const {
    std::vector<std::string> wanted = {subordinate_count, has_subordinates};
    for (const SchemaAttribute &row : schema_attributes()) {
        const bool member = strcmp(row.ldap, "member") == 0;
        const bool asked = strcmp(row.ldap, "userPassword") != 0 && strcmp(row.ldap, "uniqueMember") != 0;
        if (asked && (withMembers || !member)) wanted.push_back(names_.at(&row));
    }
    return wanted;
}

void LdapEntries::add(const SchemaAttribute *row, const std::string &value, Entry *entry) const {
    if (value.size() > row->limit || (value.empty() && row->syntax != schema_stream)) return;
    try {
        value_parse(row->syntax, value, base_);
    } catch (const DataError &) {
        return;
    }
    entry->values.push_back({row, value});
}

EntryPtr LdapEntries::make(const LdapEntry &read) const {
    auto entry = std::make_shared<Entry>();
    if (!name_parse_dn(read.dn, base_, &entry->name, nullptr) || name_to_dotted(entry->name, true).size() > ZK_MAX_NAME)
        return nullptr;
    std::vector<std::string_view> objectClasses;
    for (const auto &[name, values] : read.attributes) {
        if (equal_nocase(name, subordinate_count) && !values.empty())
            entry->subordinates = static_cast<uint32_t>(strtoul(values.front().c_str(), nullptr, 10));
        else if (equal_nocase(name, has_subordinates) && !values.empty())
            entry->subordinates = std::max<uint32_t>(entry->subordinates, values.front() == "TRUE" ? 1 : 0);
        auto [row, end] = rows_.equal_range(name_type(name));
        for (; row != end; ++row)
            for (const std::string &value : values) add(row->second, value, entry.get());
        if (equal_nocase(name, "objectClass")) objectClasses.insert(objectClasses.end(), values.begin(), values.end());
    }
    entry->entryClass = schema_class_of(objectClasses);
    if (!anyName_ && !entry_name_is_plain(*entry)) return nullptr;
    const size_t serverName = entry_common_name(*entry).size();
    if (entry->isClass("Server") && (serverName == 0 || serverName >= ZK_SERVER_NAME_SIZE)) return nullptr;
    if (const std::string *changed = entry->first("modifyTimestamp"))
        entry->modificationTime = value_parse(ZK_SYNTAX_TIME, *changed, base_).number;
    return entry;
}
