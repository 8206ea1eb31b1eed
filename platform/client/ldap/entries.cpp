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
    : base_(treeBase), anyName_(takesAnyName), schema_(site_schema(config)) {
    for (const auto &[row, sources] : schema_.sources)
        for (size_t rank = 0; rank < sources.size(); rank++) // one of theirs may be several of ours
            uses_.emplace(name_type(sources[rank].attribute), Use{row, &sources[rank], rank});
}

std::vector<std::string> LdapEntries::attributes(bool withMembers) const {
    std::vector<std::string> wanted = {subordinate_count, has_subordinates};
    for (const SchemaAttribute &row : schema_attributes()) {
        const bool member = strcmp(row.ldap, "member") == 0;
        const bool asked = strcmp(row.ldap, "userPassword") != 0 && strcmp(row.ldap, "uniqueMember") != 0;
        if (!asked || (member && !withMembers)) continue;
        for (const PresetSource &source : schema_.sources.at(&row))
            if (std::find(wanted.begin(), wanted.end(), source.attribute) == wanted.end())
                wanted.push_back(source.attribute);
    }
    return wanted;
}

bool LdapEntries::add(const Use &use, const std::string &value, Entry *entry) const {
    const std::optional<std::string> ours = use.source->convert ? use.source->convert(value) : value;
    if (!ours || ours->size() > use.row->limit || (ours->empty() && use.row->syntax != schema_stream)) return false;
    try {
        value_parse(use.row->syntax, *ours, base_);
    } catch (const DataError &) {
        return false;
    }
    entry->values.push_back({use.row, *ours});
    return true;
}

void LdapEntries::addAll(const LdapEntry &read, Entry *entry) const {
    std::unordered_map<const SchemaAttribute *, size_t> best;
    std::vector<size_t> ranks; // of the values
    for (const auto &[name, values] : read.attributes) {
        auto [one, end] = uses_.equal_range(name_type(name));
        for (; one != end; ++one) {
            for (const std::string &value : values) {
                if (!add(one->second, value, entry)) continue;
                ranks.push_back(one->second.rank);
                size_t &lowest = best.emplace(one->second.row, one->second.rank).first->second;
                lowest = std::min(lowest, one->second.rank);
            }
        }
    }
    size_t kept = 0;
    for (size_t i = 0; i < ranks.size(); i++)
        if (ranks[i] == best.at(entry->values[i].attribute)) std::swap(entry->values[kept++], entry->values[i]);
    entry->values.resize(kept);
}

// A directory of accounts knows a user by the account's name, and the DN by a name for people.
void LdapEntries::nameUser(const LdapEntry &read, Entry *entry) const {
    if (schema_.userName.empty() || !entry->isClass("User") || entry->name.empty()) return;
    for (const auto &[name, values] : read.attributes) {
        if (!equal_nocase(name, schema_.userName) || values.empty() || values.front().empty()) continue;
        entry->dn = read.dn;
        entry->name.front() = {"cn", values.front()};
    }
}

const SchemaClass *LdapEntries::classOf(const std::vector<std::string> &theirs) const {
    std::vector<std::string_view> ours;
    for (const std::string &one : theirs) ours.push_back(schema_.classOf(one));
    return schema_class_of(ours);
}

EntryPtr LdapEntries::make(const LdapEntry &read) const {
    auto entry = std::make_shared<Entry>();
    if (!name_parse_dn(read.dn, base_, &entry->name, nullptr)) return nullptr;
    addAll(read, entry.get());
    std::vector<std::string> objectClasses;
    for (const auto &[name, values] : read.attributes) {
        if (equal_nocase(name, subordinate_count) && !values.empty())
            entry->subordinates = static_cast<uint32_t>(strtoul(values.front().c_str(), nullptr, 10));
        else if (equal_nocase(name, has_subordinates) && !values.empty())
            entry->subordinates = std::max<uint32_t>(entry->subordinates, values.front() == "TRUE" ? 1 : 0);
        if (equal_nocase(name, "objectClass")) objectClasses.insert(objectClasses.end(), values.begin(), values.end());
    }
    entry->entryClass = classOf(objectClasses);
    nameUser(read, entry.get());
    if (name_to_dotted(entry->name, true).size() > ZK_MAX_NAME) return nullptr;
    if (!anyName_ && !entry_name_is_plain(*entry)) return nullptr;
    const size_t serverName = entry_common_name(*entry).size();
    if (entry->isClass("Server") && (serverName == 0 || serverName >= ZK_SERVER_NAME_SIZE)) return nullptr;
    if (const std::string *changed = entry->first("modifyTimestamp"))
        entry->modificationTime = value_parse(ZK_SYNTAX_TIME, *changed, base_).number;
    return entry;
}
