#include "platform/client/ldif/store.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "platform/catalogue.h"
#include "platform/client/core/entry_find.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/password.h"
#include "platform/client/core/plain_values.h"
#include "platform/client/core/values.h"
#include "platform/client/ldif/reader.h"
#include "platform/zk.h"

static constexpr uint32_t no_node = UINT32_MAX;

namespace {

struct Node {
    std::shared_ptr<Entry> entry;
    uint32_t sameKey; // the next node whose name differs only in its types, no_node at the end
};

class LdifStore : public DirectoryStore {
  public:
    // A copy contains what servers have shown, which may lack what a file must have.
    LdifStore(const Name &base, bool findsAnyName, bool isACopy)
        : root_(base), anyName_(findsAnyName), isCopy_(isACopy) {}

    void add(const LdifRecord &record);
    size_t size() const { return nodes_.size(); }

    const Name &base() const override { return root_; }
    EntryPtr find(const Name &name, Aliases aliases) override;
    std::vector<Name> groupsOf(const Entry &entry) override;
    EntryPtr findServer(std::string_view name) override;
    EntryPtr findVolume(const Entry &server, std::string_view volume) override;
    Verdict checkPassword(const Entry &entry, const char *password) override;

  private:
    const Node *lookup(const Name &name) const;
    bool isShown(const Entry &entry) const { return anyName_ || entry_name_is_plain(entry); }
    Name parseDn(const LdifRecord &record) const;
    void checkPlace(const LdifRecord &record, const Name &name) const;
    void addValue(const LdifRecord &record, const LdifAttribute &attribute, Entry *entry) const;
    void checkEntry(const LdifRecord &record, const Entry &entry) const;
    void notePassword(const LdifRecord &record, const Entry &entry);
    void indexEntry(uint32_t number);
    void spellAsParent(Name *name) const;
    void countAtParent(const Name &name);

    Name root_;
    bool anyName_;
    bool isCopy_;
    std::vector<Node> nodes_;
    std::unordered_map<std::string, uint32_t> byKey_;               // name_key -> first node
    std::unordered_map<std::string, std::vector<uint32_t>> groups_; // name_key of a member -> the groups' nodes
    std::vector<uint32_t> servers_;
    std::vector<uint32_t> volumes_;
    std::unordered_map<const Entry *, std::string> noHash_; // passwords that nothing matches, and where they stand
};

} // namespace

[[noreturn]] static void refuse(const LdifRecord &record, unsigned line, const std::string &why) {
    throw DataError(record.file + ":" + std::to_string(line) + ": " + why);
}

static bool is_member(const EntryValue &value) {
    static const SchemaAttribute *const member = schema_find_ldap("member");
    static const SchemaAttribute *const uniqueMember = schema_find_ldap("uniqueMember");
    return value.attribute == member || value.attribute == uniqueMember;
}

namespace {

// The node of a name, or null. Of two nodes that both fit a name without types the first in the file is meant.
const Node *LdifStore::lookup(const Name &name) const {
    auto found = byKey_.find(name_key(name));
    uint32_t number = found == byKey_.end() ? no_node : found->second;
    while (number != no_node && !name_may_be(name, nodes_[number].entry->name)) number = nodes_[number].sameKey;
    return number == no_node ? nullptr : &nodes_[number];
}

EntryPtr LdifStore::find(const Name &name, Aliases aliases) {
    auto at = [this](const Name &wanted) -> EntryPtr {
        const Node *node = lookup(wanted);
        return node == nullptr || !isShown(*node->entry) ? nullptr : node->entry;
    };
    return entry_find(name, aliases, root_, at, at);
}

std::vector<Name> LdifStore::groupsOf(const Entry &entry) {
    std::vector<Name> found;
    auto member = groups_.find(name_key(entry.name));
    if (member == groups_.end()) return found;
    for (uint32_t number : member->second) {
        // The key leaves types out: ask the group itself.
        for (const EntryValue &value : nodes_[number].entry->values) {
            if (is_member(value) && name_equal(value_parse(schema_dn, value.text, root_).name, entry.name)) {
                found.push_back(nodes_[number].entry->name);
                break;
            }
        }
    }
    return found;
}

EntryPtr LdifStore::findServer(std::string_view name) {
    for (uint32_t number : servers_) {
        const auto &entry = nodes_[number].entry;
        if (isShown(*entry) && entry_is_server(*entry, name)) return entry;
    }
    return nullptr;
}

EntryPtr LdifStore::findVolume(const Entry &server, std::string_view volume) {
    for (uint32_t number : volumes_) {
        const auto &entry = nodes_[number].entry;
        if (entry_is_volume(*entry, server, volume, root_)) return entry;
    }
    return nullptr;
}

// An empty password is wrong whatever the entry has: servers take it for an anonymous login.
Verdict LdifStore::checkPassword(const Entry &entry, const char *password) {
    const SchemaAttribute *kept = schema_find_ldap("userPassword");
    for (const EntryValue &value : entry.values)
        if (value.attribute == kept && *password != '\0' && password_matches(value.text, password))
            return Verdict::accepted;
    if (auto unusable = noHash_.find(&entry); unusable != noHash_.end()) throw DataError(unusable->second);
    return Verdict::wrongPassword;
}

Name LdifStore::parseDn(const LdifRecord &record) const {
    Name name;
    bool outside = false;
    if (!name_parse_dn(record.dn, root_, &name, &outside)) {
        refuse(record, record.line,
               outside ? catalogue_text("the entry is not below the tree's base") : catalogue_text("malformed DN"));
    }
    if (name_to_dotted(name, true).size() > ZK_MAX_NAME)
        refuse(record, record.line, catalogue_text("the entry's name is longer than 512 bytes"));
    return name;
}

void LdifStore::checkPlace(const LdifRecord &record, const Name &name) const {
    if (lookup(name) != nullptr) refuse(record, record.line, catalogue_text("the entry already exists"));
    // The first entry may stand at a suffix of several parts, "dc=acme,dc=example", as on a server.
    if (name.size() > 1 && !nodes_.empty() && lookup(name_above(name, 1)) == nullptr)
        refuse(record, record.line, catalogue_text("the entry's parent is missing: it must come first"));
}

void LdifStore::addValue(const LdifRecord &record, const LdifAttribute &attribute, Entry *entry) const {
    const SchemaAttribute *row = schema_find_ldap(attribute.name);
    if (row == nullptr) {
        const bool numbered = attribute.name.find_first_not_of("0123456789.") == std::string::npos;
        if (numbered) {
            refuse(record, attribute.line,
                   attribute.name + ": " + catalogue_text("an attribute must be given by its name, not by its number"));
        }
        return;
    }
    if (attribute.value.size() > row->limit)
        refuse(record, attribute.line, attribute.name + ": " + catalogue_text("the value is too long"));
    if (attribute.value.empty() && row->syntax != schema_stream)
        refuse(record, attribute.line, attribute.name + ": " + catalogue_text("the value is empty"));
    try {
        value_parse(row->syntax, attribute.value, root_);
    } catch (const DataError &error) {
        refuse(record, attribute.line, attribute.name + ": " + error.what());
    }
    entry->values.push_back({row, attribute.value});
}

void LdifStore::checkEntry(const LdifRecord &record, const Entry &entry) const {
    if (!isCopy_ && entry.first("objectClass") == nullptr)
        refuse(record, record.line, catalogue_text("the entry has no objectClass"));
    if (!isCopy_ && entry.isClass("Alias") && entry.first("aliasedObjectName") == nullptr)
        refuse(record, record.line, catalogue_text("the alias has no aliasedObjectName"));
    if (entry.isClass("Server")) {
        size_t length = entry_common_name(entry).size();
        if (length == 0 || length >= ZK_SERVER_NAME_SIZE)
            refuse(record, record.line, catalogue_text("a server name must have 1 to 48 bytes"));
    }
    if (isCopy_ || entry.name.empty()) return;
    const NamePart &leaf = entry.name.front();
    for (const LdifAttribute &attribute : record.attributes)
        if (name_type(attribute.name) == leaf.type && name_fold(attribute.value) == name_fold(leaf.value)) return;
    refuse(record, record.line, catalogue_format("the entry has no %s value that matches its DN", leaf.type.c_str()));
}

// Someone who wrote a password in the clear, or as servers keep it, would look for the mistake in what they type. One
// that can be used beside it is enough: exports of servers hold others too.
void LdifStore::notePassword(const LdifRecord &record, const Entry &entry) {
    static const SchemaAttribute *const password = schema_find_ldap("userPassword");
    bool unusable = false;
    for (const EntryValue &value : entry.values) {
        if (value.attribute == password && password_is_hash(value.text)) return;
        unusable = unusable || value.attribute == password;
    }
    for (const LdifAttribute &attribute : record.attributes) {
        if (unusable && schema_find_ldap(attribute.name) == password) {
            noHash_[&entry] = record.file + ":" + std::to_string(attribute.line) + ": " + attribute.name + ": " +
                              catalogue_text("the password is not a {CRYPT} hash");
            return;
        }
    }
}

void LdifStore::indexEntry(uint32_t number) {
    const Entry &entry = *nodes_[number].entry;
    const uint32_t first = byKey_.emplace(name_key(entry.name), number).first->second;
    if (first != number) {
        uint32_t last = first;
        while (nodes_[last].sameKey != no_node) last = nodes_[last].sameKey;
        nodes_[last].sameKey = number;
    }
    if (entry.isClass("Server"))
        servers_.push_back(number);
    else if (entry.isClass("Volume"))
        volumes_.push_back(number);
    for (const EntryValue &value : entry.values) {
        if (is_member(value)) {
            std::vector<uint32_t> &of = groups_[name_key(value_parse(schema_dn, value.text, root_).name)];
            if (of.empty() || of.back() != number) of.push_back(number);
        }
    }
}

// An object's place is spelled as its parent's own entry spells it, whatever its DN writes.
void LdifStore::spellAsParent(Name *name) const {
    const Node *parent = name->empty() ? nullptr : lookup(name_above(*name, 1));
    if (parent != nullptr) std::copy(parent->entry->name.begin(), parent->entry->name.end(), name->begin() + 1);
}

void LdifStore::countAtParent(const Name &name) {
    if (!name.empty()) {
        const Node *parent = lookup(name_above(name, 1));
        if (parent != nullptr) parent->entry->subordinates++;
    }
}

void LdifStore::add(const LdifRecord &record) {
    auto entry = std::make_shared<Entry>();
    entry->name = parseDn(record);
    checkPlace(record, entry->name);
    spellAsParent(&entry->name);
    entry->values.reserve(record.attributes.size());
    std::vector<std::string_view> objectClasses;
    for (const LdifAttribute &attribute : record.attributes) {
        addValue(record, attribute, entry.get());
        if (equal_nocase(attribute.name, "objectClass")) objectClasses.push_back(attribute.value);
    }
    entry->entryClass = schema_class_of(objectClasses);
    checkEntry(record, *entry);
    notePassword(record, *entry);
    if (const std::string *changed = entry->first("modifyTimestamp"))
        entry->modificationTime = value_parse(ZK_SYNTAX_TIME, *changed, root_).number;
    countAtParent(entry->name);
    nodes_.push_back({entry, no_node});
    indexEntry(static_cast<uint32_t>(nodes_.size() - 1));
}

} // namespace

static std::unique_ptr<LdifStore> load(LdifReader *reader, std::unique_ptr<LdifStore> store) {
    LdifRecord record;
    while (reader->next(&record)) store->add(record);
    return store;
}

std::unique_ptr<DirectoryStore> ldif_store_load(const std::string &path, const std::string &shown, const Name &base,
                                                size_t *objects, bool anyName) {
    LdifReader reader(path, shown);
    std::unique_ptr<LdifStore> store = load(&reader, std::make_unique<LdifStore>(base, anyName, false));
    if (objects != nullptr) *objects = store->size();
    return store;
}

std::unique_ptr<DirectoryStore> ldif_store_load(LdifText text, const std::string &shown, const Name &base) {
    LdifReader reader(std::move(text), shown);
    return load(&reader, std::make_unique<LdifStore>(base, true, true));
}
