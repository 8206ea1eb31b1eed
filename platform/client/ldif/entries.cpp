#include "platform/client/ldif/entries.h"

#include <algorithm>
#include <utility>

#include "platform/catalogue.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/password.h"
#include "platform/client/core/values.h"
#include "platform/client/ldif/keyed_hash.h"
#include "platform/zk.h"

[[noreturn]] static void refuse(const LdifRecord &record, unsigned line, const std::string &why) {
    throw DataError(std::string(record.file) + ":" + std::to_string(line) + ": " + why);
}

bool ldif_is_member(const SchemaAttribute *attribute) {
    static const SchemaAttribute *const member = schema_find_ldap("member");
    static const SchemaAttribute *const uniqueMember = schema_find_ldap("uniqueMember");
    return attribute == member || attribute == uniqueMember;
}

static const SchemaAttribute *object_class() {
    static const SchemaAttribute *const row = schema_find_ldap("objectClass");
    return row;
}

LdifEntries::LdifEntries(LdifReader reader, const Name &base, LdifForm form)
    : reader_(std::move(reader)), base_(base), form_(form) {
    LdifRecord record;
    while (reader_.next(&record)) add(record);
}

// Of two that both fit a name without types the first in the file is meant.
uint32_t LdifEntries::numberOf(const Name &name) const {
    const NameView parts = name_view(name);
    return names_.find({name_key(name), parts.data()});
}

void LdifEntries::viewDn(const LdifRecord &record) {
    bool outside = false;
    if (!name_view_dn(record.dn, base_, &dn_, &outside)) {
        refuse(record, record.line,
               outside ? catalogue_text("the entry is not below the tree's base") : catalogue_text("malformed DN"));
    }
    if (name_is_too_long(dn_.parts))
        refuse(record, record.line, catalogue_text("the entry's name is longer than 512 bytes"));
    name_view_key(dn_.parts, &key_);
}

void LdifEntries::takePlace(const LdifRecord &record) {
    const NameKey key = {key_, dn_.parts.data()};
    if (names_.find(key) != no_name) refuse(record, record.line, catalogue_text("the entry already exists"));
    const uint32_t parent = dn_.parts.empty() ? no_name : names_.find(key.above());
    // The first entry may stand at a suffix of several parts, "dc=acme,dc=example", as on a server.
    if (dn_.parts.size() > 1 && !nodes_.empty() && parent == no_name && form_ != LdifForm::addition)
        refuse(record, record.line, catalogue_text("the entry's parent is missing: it must come first"));
    names_.add(key, parent);
    nodes_.push_back({record.place, 0});
    if (parent != no_name) nodes_[parent].subordinates++;
}

// A tree has few names of attributes, and each of them many times.
const SchemaAttribute *LdifEntries::rowOf(std::string_view name) {
    constexpr size_t longest = 32; // of what is worth its memory
    if (name.size() > longest) return schema_find_ldap(name);
    const auto letter = [name](size_t i) { return static_cast<unsigned char>(name[i]); };
    const size_t mixed = name.size() * 31 + letter(0) * 7u + letter(name.size() / 2) * 13u + letter(name.size() - 1);
    KnownAttribute &known = known_[mixed % known_.size()];
    if (known.name != name) known = {std::string(name), schema_find_ldap(name)};
    return known.row;
}

void LdifEntries::readRows(const LdifRecord &record) {
    rows_.clear();
    for (const LdifAttribute &attribute : record.attributes) rows_.push_back(rowOf(attribute.name));
}

bool LdifEntries::has(const SchemaAttribute *row) const {
    return std::find(rows_.begin(), rows_.end(), row) != rows_.end();
}

void LdifEntries::checkValue(const LdifRecord &record, size_t i) {
    const LdifAttribute &attribute = record.attributes[i];
    const SchemaAttribute *const row = rows_[i];
    const auto refuseIt = [&](const std::string &why) {
        refuse(record, attribute.line, std::string(attribute.name) + ": " + why);
    };
    if (row == nullptr) {
        const bool numbered = attribute.name.find_first_not_of("0123456789.") == std::string_view::npos;
        if (numbered) refuseIt(catalogue_text("an attribute must be given by its name, not by its number"));
        return;
    }
    static const SchemaAttribute *const password = schema_find_ldap("userPassword");
    if (row == password && form_ == LdifForm::addition)
        refuseIt(catalogue_text("passwords belong in the directory itself"));
    if (attribute.value.size() > row->limit) refuseIt(catalogue_text("the value is too long"));
    if (attribute.value.empty() && row->syntax != schema_stream) refuseIt(catalogue_text("the value is empty"));
    try {
        value_check(row->syntax, attribute.value, base_, &valueDn_);
    } catch (const DataError &error) {
        refuseIt(error.what());
    }
    if (!ldif_is_member(row)) return;
    name_view_key(valueDn_.parts, &key_);
    members_.push_back({keyed_hash(key_), names_.size() - 1});
}

const SchemaClass *LdifEntries::classOf(const LdifRecord &record) {
    objectClasses_.clear();
    for (size_t i = 0; i < rows_.size(); i++)
        if (rows_[i] == object_class()) objectClasses_.push_back(record.attributes[i].value);
    return schema_class_of(objectClasses_);
}

void LdifEntries::checkEntry(const LdifRecord &record, const SchemaClass &entryClass) {
    static const SchemaAttribute *const aliased = schema_find_ldap("aliasedObjectName");
    const std::string_view base = entryClass.base;
    const bool isTree = form_ == LdifForm::tree;
    if (isTree && !has(object_class())) refuse(record, record.line, catalogue_text("the entry has no objectClass"));
    if (form_ == LdifForm::addition && base == "Alias")
        refuse(record, record.line, catalogue_text("aliases belong in the directory itself"));
    if (isTree && base == "Alias" && !has(aliased))
        refuse(record, record.line, catalogue_text("the alias has no aliasedObjectName"));
    if (base == "Server") {
        size_t length = entry_common_name(*entryOf(record, names_.size() - 1)).size();
        if (length == 0 || length >= ZK_SERVER_NAME_SIZE)
            refuse(record, record.line, catalogue_text("a server name must have 1 to 48 bytes"));
    }
    if (!isTree || dn_.parts.empty()) return;
    const NamePartView &leaf = dn_.parts.front();
    for (const LdifAttribute &attribute : record.attributes)
        if (name_type(attribute.name) == leaf.type &&
            (attribute.value == leaf.value || name_fold(attribute.value) == name_fold(leaf.value)))
            return;
    refuse(record, record.line,
           catalogue_format("the entry has no %s value that matches its DN", std::string(leaf.type).c_str()));
}

void LdifEntries::add(const LdifRecord &record) {
    viewDn(record);
    takePlace(record);
    const uint32_t number = names_.size() - 1;
    readRows(record);
    for (size_t i = 0; i < record.attributes.size(); i++) checkValue(record, i);
    const SchemaClass *entryClass = classOf(record);
    checkEntry(record, *entryClass);
    const std::string_view base = entryClass->base;
    if (base == "Server")
        servers_.push_back(number);
    else if (base == "Volume")
        volumes_.push_back(number);
    if (record.ofOtherFiles) keep(record, number); // which may have changed by the time that it is asked for
}

EntryPtr LdifEntries::entry(uint32_t number) {
    if (kept_.find(number) == kept_.end()) {
        LdifRecord record;
        reader_.again(nodes_[number].place, &record);
        keep(record, number);
    }
    const std::shared_ptr<Entry> &kept = kept_.at(number).entry;
    kept->subordinates = nodes_[number].subordinates; // some may have come after it
    return kept;
}

std::shared_ptr<Entry> LdifEntries::made(uint32_t number) {
    if (auto kept = kept_.find(number); kept != kept_.end()) return kept->second.entry;
    LdifRecord record;
    reader_.again(nodes_[number].place, &record);
    return entryOf(record, number);
}

void LdifEntries::keep(const LdifRecord &record, uint32_t number) {
    Kept kept = {entryOf(record, number), ""};
    kept.noHash = noHashOf(record, *kept.entry);
    kept_.emplace(number, std::move(kept));
}

std::shared_ptr<Entry> LdifEntries::entryOf(const LdifRecord &record, uint32_t number) {
    auto result = std::make_shared<Entry>();
    result->name = nameOf(record, number);
    readRows(record);
    result->entryClass = classOf(record);
    result->values.reserve(rows_.size());
    for (size_t i = 0; i < rows_.size(); i++)
        if (rows_[i] != nullptr) result->values.push_back({rows_[i], std::string(record.attributes[i].value)});
    if (const std::string *changed = result->first("modifyTimestamp"))
        result->modificationTime = value_parse(ZK_SYNTAX_TIME, *changed, base_).number;
    return result;
}

// An object's place is spelled as its parent's own entry spells it, whatever its DN writes.
Name LdifEntries::nameOf(const LdifRecord &record, uint32_t number) {
    Name name;
    name_parse_dn(record.dn, base_, &name, nullptr);
    if (names_.above(number) != no_name) {
        const Name &place = entry(names_.above(number))->name;
        std::copy(place.begin(), place.end(), name.begin() + 1);
    }
    return name;
}

// Someone who wrote a password in the clear, or as servers keep it, would look for the mistake in what they type. One
// that can be used beside it is enough: exports of servers hold others too.
std::string LdifEntries::noHashOf(const LdifRecord &record, const Entry &entry) {
    static const SchemaAttribute *const password = schema_find_ldap("userPassword");
    const auto usable = [](const EntryValue &value) {
        return value.attribute == password && password_is_hash(value.text);
    };
    if (std::any_of(entry.values.begin(), entry.values.end(), usable)) return "";
    for (const LdifAttribute &attribute : record.attributes) {
        if (rowOf(attribute.name) == password) {
            return std::string(record.file) + ":" + std::to_string(attribute.line) + ": " +
                   std::string(attribute.name) + ": " + catalogue_text("the password is not a {CRYPT} hash");
        }
    }
    return "";
}

std::string LdifEntries::unusablePassword(uint32_t number) const {
    const auto kept = kept_.find(number);
    return kept == kept_.end() ? "" : kept->second.noHash;
}

std::vector<uint32_t> LdifEntries::groupsPerhapsWith(const Name &memberName) {
    const auto before = [](const Member &a, const Member &b) {
        return a.hash != b.hash ? a.hash < b.hash : a.group < b.group;
    };
    if (!membersSorted_) std::sort(members_.begin(), members_.end(), before);
    membersSorted_ = true;
    const uint32_t hash = keyed_hash(name_key(memberName));
    std::vector<uint32_t> found;
    auto member = std::lower_bound(members_.begin(), members_.end(), Member{hash, 0}, before);
    for (; member != members_.end() && member->hash == hash; ++member)
        if (found.empty() || found.back() != member->group) found.push_back(member->group);
    return found;
}

std::vector<std::string> LdifEntries::otherValues(uint32_t number, std::string_view attribute, std::string *spelled) {
    LdifRecord record;
    reader_.again(nodes_[number].place, &record);
    std::vector<std::string> values;
    for (const LdifAttribute &one : record.attributes) {
        const bool isIt = rowOf(one.name) == nullptr && equal_nocase(one.name, attribute);
        if (!isIt || one.value.empty() || one.value.find('\0') != std::string_view::npos) continue;
        *spelled = one.name;
        values.emplace_back(one.value);
    }
    return values;
}

std::string LdifEntries::fileOf(uint32_t number, const SchemaAttribute *attribute) {
    LdifRecord record;
    reader_.again(nodes_[number].place, &record);
    for (const LdifAttribute &one : record.attributes)
        if (rowOf(one.name) == attribute && !one.file.empty()) return std::string(one.file);
    return reader_.pathOf(record.place);
}
