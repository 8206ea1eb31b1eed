#include "platform/client/ldif/store.h"

#include <algorithm>
#include <array>
#include <deque>
#include <unordered_map>
#include <utility>

#include "platform/catalogue.h"
#include "platform/client/core/entry_find.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/nested_groups.h"
#include "platform/client/core/password.h"
#include "platform/client/core/plain_values.h"
#include "platform/client/core/values.h"
#include "platform/client/ldif/keyed_hash.h"
#include "platform/client/ldif/name_index.h"
#include "platform/client/ldif/reader.h"
#include "platform/client/ldif/script_change.h"
#include "platform/zk.h"

namespace {

// What is kept of each record: the entry is made from the text when it is asked for.
struct Node {
    LdifPlace place;
    uint32_t subordinates;
};

struct Member {
    uint32_t hash; // of its name's key
    uint32_t group;
};

struct Kept {
    std::shared_ptr<Entry> entry;
    std::string noHash; // of a password that nothing matches: where it stands
};

struct KnownAttribute {
    std::string name;
    const SchemaAttribute *row = nullptr;
};

struct Other {
    uint32_t user;
    std::string name;
    SchemaAttribute row;
    OtherAttribute found;
};

// A copy contains what servers have shown, which may lack what a tree must have, and so may what adds to a directory.
enum class LdifForm { tree, copy, addition };

class LdifStore : public DirectoryStore {
  public:
    LdifStore(LdifReader reader, std::string treeName, const Name &base, const LdifOptions &options, LdifForm form)
        : reader_(std::move(reader)), shown_(std::move(treeName)), root_(base), options_(options), form_(form) {}

    void load();
    size_t size() const { return nodes_.size(); }

    const Name &base() const override { return root_; }
    EntryPtr find(const Name &name, Aliases aliases) override;
    std::vector<Name> groupsOf(const Entry &entry) override;
    std::vector<EntryPtr> usersNamed(const std::string &value) override;
    std::vector<Name> usersBelow(const Name &container) override;
    const OtherAttribute *otherAttribute(const Entry &user, std::string_view name) override;
    EntryPtr findServer(std::string_view name) override;
    EntryPtr findVolume(const Entry &server, std::string_view volume) override;
    std::vector<EntryPtr> volumes() override;
    Verdict checkPassword(const Entry &entry, const char *password) override;
    void changePassword(const Entry &entry, const char *oldPassword, const char *newPassword) override;
    StoredScript readScript(const Entry &entry) override;
    void writeScript(const Entry &entry, const ScriptText &before, const ScriptText &after) override;
    std::vector<EntryPtr> scripts() override;

    void setFile(const std::string &path) { path_ = path; }

  private:
    bool isShown(const Entry &entry) const { return options_.anyName || entry_name_is_plain(entry); }

    void add(const LdifRecord &record);
    void viewDn(const LdifRecord &record);
    void takePlace(const LdifRecord &record);
    const SchemaAttribute *rowOf(std::string_view name);
    void readRows(const LdifRecord &record);
    bool has(const SchemaAttribute *row) const;
    void checkValue(const LdifRecord &record, size_t i);
    const SchemaClass *classOf(const LdifRecord &record);
    void checkEntry(const LdifRecord &record, const SchemaClass &entryClass);

    std::vector<Name> directGroupsOf(const Name &member);
    uint32_t numberOf(const Name &name) const;
    EntryPtr entry(uint32_t number);
    std::shared_ptr<Entry> made(uint32_t number);
    std::shared_ptr<Entry> entryOf(const LdifRecord &record, uint32_t number);
    Name nameOf(const LdifRecord &record, uint32_t number);
    void keep(const LdifRecord &record, uint32_t number);
    std::string unusablePassword(const LdifRecord &record, const Entry &entry);

    LdifFile file() const;

    LdifReader reader_;
    std::string path_;  // empty: of a text
    std::string shown_; // the file, for messages
    Name root_;
    LdifOptions options_;
    LdifForm form_;
    NameIndex names_;
    std::vector<Node> nodes_;     // by the numbers of their names
    std::vector<Member> members_; // of all groups
    bool membersSorted_ = false;  // when they are first asked for
    std::vector<uint32_t> servers_;
    std::vector<uint32_t> volumes_;
    std::deque<Other> others_;                // those that were asked for
    std::unordered_map<uint32_t, Kept> kept_; // the entries that have been made

    // Used again for each record: its DN and its key, one of its values, what its attributes are.
    DnView dn_;
    DnView valueDn_;
    std::string key_;
    std::vector<const SchemaAttribute *> rows_;
    std::vector<std::string_view> objectClasses_;
    std::array<KnownAttribute, 128> known_;
};

} // namespace

[[noreturn]] static void refuse(const LdifRecord &record, unsigned line, const std::string &why) {
    throw DataError(std::string(record.file) + ":" + std::to_string(line) + ": " + why);
}

static bool is_member(const SchemaAttribute *row) {
    static const SchemaAttribute *const member = schema_find_ldap("member");
    static const SchemaAttribute *const uniqueMember = schema_find_ldap("uniqueMember");
    return row == member || row == uniqueMember;
}

static const SchemaAttribute *object_class() {
    static const SchemaAttribute *const row = schema_find_ldap("objectClass");
    return row;
}

namespace {

// Of two that both fit a name without types the first in the file is meant.
uint32_t LdifStore::numberOf(const Name &name) const {
    const NameView parts = name_view(name);
    return names_.find({name_key(name), parts.data()});
}

EntryPtr LdifStore::find(const Name &name, Aliases aliases) {
    auto at = [this](const Name &wanted) -> EntryPtr {
        const uint32_t number = numberOf(wanted);
        const EntryPtr found = number == no_name ? nullptr : entry(number);
        return found == nullptr || !isShown(*found) ? nullptr : found;
    };
    return entry_find(name, aliases, root_, at, at);
}

std::vector<EntryPtr> LdifStore::usersNamed(const std::string &value) {
    const std::string wanted = name_fold(value);
    std::vector<const SchemaAttribute *> naming;
    for (const std::string &attribute : options_.loginAttributes) naming.push_back(schema_find_ldap(attribute));
    std::vector<EntryPtr> found;
    for (uint32_t number = 0; number < names_.size(); number++) {
        const std::shared_ptr<Entry> user = made(number);
        const auto isIt = [&](const EntryValue &one) {
            return std::find(naming.begin(), naming.end(), one.attribute) != naming.end() &&
                   name_fold(one.text) == wanted;
        };
        if (user->isClass("User") && isShown(*user) && std::any_of(user->values.begin(), user->values.end(), isIt))
            found.push_back(entry(number));
    }
    return found;
}

std::vector<Name> LdifStore::usersBelow(const Name &container) {
    std::vector<Name> found;
    for (uint32_t number = 0; number < names_.size(); number++) {
        const std::shared_ptr<Entry> user = made(number);
        const Name &name = user->name;
        if (user->isClass("User") && isShown(*user) && name.size() > container.size() &&
            name_equal(name_above(name, name.size() - container.size()), container))
            found.push_back(name);
    }
    return found;
}

// A file has no schema for what the client's own does not have: each value is a text.
const OtherAttribute *LdifStore::otherAttribute(const Entry &user, std::string_view name) {
    std::string wanted(name);
    wanted.erase(std::remove(wanted.begin(), wanted.end(), '_'), wanted.end());
    const uint32_t number = numberOf(user.name);
    if (number == no_name || attribute_is_secret(wanted) || wanted.size() > ZK_MAX_ATTR_NAME) return nullptr;
    for (const Other &known : others_)
        if (known.user == number && equal_nocase(known.name, wanted)) return &known.found;
    LdifRecord record;
    reader_.again(nodes_[number].place, &record);
    std::vector<std::string> values;
    std::string spelled;
    for (const LdifAttribute &one : record.attributes) {
        const bool isIt = rowOf(one.name) == nullptr && equal_nocase(one.name, wanted);
        if (!isIt || one.value.empty() || one.value.find('\0') != std::string_view::npos) continue;
        spelled = one.name;
        values.emplace_back(one.value);
    }
    if (values.empty()) return nullptr;
    Other &other = others_.emplace_back();
    other.user = number;
    other.name = spelled;
    other.row = {other.name.c_str(), other.name.c_str(), schema_text, size_t{64} * 1024};
    other.found = {&other.row, std::move(values)};
    return &other.found;
}

std::vector<Name> LdifStore::groupsOf(const Entry &entry) {
    std::vector<Name> groups = directGroupsOf(entry.name);
    if (options_.nestedGroups) {
        const auto level = [this](const std::vector<Name> &members) {
            std::vector<Name> found;
            for (const Name &member : members)
                for (Name &group : directGroupsOf(member)) found.push_back(std::move(group));
            return found;
        };
        nested_groups_add(shown_, entry.name, level, &groups);
    }
    return groups;
}

std::vector<Name> LdifStore::directGroupsOf(const Name &memberName) {
    const auto before = [](const Member &a, const Member &b) {
        return a.hash != b.hash ? a.hash < b.hash : a.group < b.group;
    };
    if (!membersSorted_) std::sort(members_.begin(), members_.end(), before);
    membersSorted_ = true;
    const uint32_t hash = keyed_hash(name_key(memberName));
    std::vector<Name> found;
    auto member = std::lower_bound(members_.begin(), members_.end(), Member{hash, 0}, before);
    for (uint32_t last = no_name; member != members_.end() && member->hash == hash; last = member++->group) {
        if (member->group == last) continue;
        // The hash is not all of the name: ask the group itself.
        const std::shared_ptr<Entry> group = made(member->group);
        const auto isIt = [&](const EntryValue &value) {
            return is_member(value.attribute) && name_equal(value_parse(schema_dn, value.text, root_).name, memberName);
        };
        if (std::any_of(group->values.begin(), group->values.end(), isIt)) found.push_back(group->name);
    }
    return found;
}

EntryPtr LdifStore::findServer(std::string_view name) {
    for (uint32_t number : servers_) {
        EntryPtr server = entry(number);
        if (isShown(*server) && entry_is_server(*server, name)) return server;
    }
    return nullptr;
}

EntryPtr LdifStore::findVolume(const Entry &server, std::string_view volume) {
    for (uint32_t number : volumes_) {
        EntryPtr found = entry(number);
        if (entry_is_volume(*found, server, volume, root_)) return found;
    }
    return nullptr;
}

std::vector<EntryPtr> LdifStore::volumes() {
    std::vector<EntryPtr> found;
    for (uint32_t number : volumes_) found.push_back(entry(number));
    return found;
}

// An empty password is wrong whatever the entry has: servers take it for an anonymous login.
Verdict LdifStore::checkPassword(const Entry &entry, const char *password) {
    const SchemaAttribute *row = schema_find_ldap("userPassword");
    for (const EntryValue &value : entry.values)
        if (value.attribute == row && *password != '\0' && password_matches(value.text, password))
            return Verdict::accepted;
    const auto kept = kept_.find(numberOf(entry.name));
    if (kept != kept_.end() && !kept->second.noHash.empty()) throw DataError(kept->second.noHash);
    return Verdict::wrongPassword;
}

// Whoever could write the file could write any user's password.
void LdifStore::changePassword(const Entry &, const char *, const char *) {
    throw CodedError(ZKE_NO_ACCESS,
                     catalogue_text("the passwords of this tree are in a file, which only its administrator changes"));
}

LdifFile LdifStore::file() const {
    error_unless(!path_.empty(), ZKE_NO_ACCESS);
    return {path_, shown_, root_};
}

StoredScript LdifStore::readScript(const Entry &entry) {
    return ldif_script_read(file(), entry.name);
}

void LdifStore::writeScript(const Entry &entry, const ScriptText &before, const ScriptText &after) {
    ldif_script_write(file(), entry.name, before, after);
}

std::vector<EntryPtr> LdifStore::scripts() {
    std::vector<EntryPtr> found;
    for (uint32_t number = 0; number < names_.size(); number++) {
        EntryPtr one = made(number);
        if (one->first("qrtLoginScript") != nullptr && isShown(*one)) found.push_back(std::move(one));
    }
    return found;
}

void LdifStore::viewDn(const LdifRecord &record) {
    bool outside = false;
    if (!name_view_dn(record.dn, root_, &dn_, &outside)) {
        refuse(record, record.line,
               outside ? catalogue_text("the entry is not below the tree's base") : catalogue_text("malformed DN"));
    }
    if (name_is_too_long(dn_.parts))
        refuse(record, record.line, catalogue_text("the entry's name is longer than 512 bytes"));
    name_view_key(dn_.parts, &key_);
}

void LdifStore::takePlace(const LdifRecord &record) {
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
const SchemaAttribute *LdifStore::rowOf(std::string_view name) {
    constexpr size_t longest = 32; // of what is worth its memory
    if (name.size() > longest) return schema_find_ldap(name);
    const auto letter = [name](size_t i) { return static_cast<unsigned char>(name[i]); };
    const size_t mixed = name.size() * 31 + letter(0) * 7u + letter(name.size() / 2) * 13u + letter(name.size() - 1);
    KnownAttribute &known = known_[mixed % known_.size()];
    if (known.name != name) known = {std::string(name), schema_find_ldap(name)};
    return known.row;
}

void LdifStore::readRows(const LdifRecord &record) {
    rows_.clear();
    for (const LdifAttribute &attribute : record.attributes) rows_.push_back(rowOf(attribute.name));
}

bool LdifStore::has(const SchemaAttribute *row) const {
    return std::find(rows_.begin(), rows_.end(), row) != rows_.end();
}

void LdifStore::checkValue(const LdifRecord &record, size_t i) {
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
        value_check(row->syntax, attribute.value, root_, &valueDn_);
    } catch (const DataError &error) {
        refuseIt(error.what());
    }
    if (!is_member(row)) return;
    name_view_key(valueDn_.parts, &key_);
    members_.push_back({keyed_hash(key_), names_.size() - 1});
}

const SchemaClass *LdifStore::classOf(const LdifRecord &record) {
    objectClasses_.clear();
    for (size_t i = 0; i < rows_.size(); i++)
        if (rows_[i] == object_class()) objectClasses_.push_back(record.attributes[i].value);
    return schema_class_of(objectClasses_);
}

void LdifStore::checkEntry(const LdifRecord &record, const SchemaClass &entryClass) {
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

void LdifStore::add(const LdifRecord &record) {
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

void LdifStore::load() {
    LdifRecord record;
    while (reader_.next(&record)) add(record);
}

EntryPtr LdifStore::entry(uint32_t number) {
    if (kept_.find(number) == kept_.end()) {
        LdifRecord record;
        reader_.again(nodes_[number].place, &record);
        keep(record, number);
    }
    const std::shared_ptr<Entry> &kept = kept_.at(number).entry;
    kept->subordinates = nodes_[number].subordinates; // some may have come after it
    return kept;
}

// The entry, which is not kept when this is the first that is asked of it.
std::shared_ptr<Entry> LdifStore::made(uint32_t number) {
    if (auto kept = kept_.find(number); kept != kept_.end()) return kept->second.entry;
    LdifRecord record;
    reader_.again(nodes_[number].place, &record);
    return entryOf(record, number);
}

void LdifStore::keep(const LdifRecord &record, uint32_t number) {
    Kept kept = {entryOf(record, number), ""};
    kept.noHash = unusablePassword(record, *kept.entry);
    kept_.emplace(number, std::move(kept));
}

std::shared_ptr<Entry> LdifStore::entryOf(const LdifRecord &record, uint32_t number) {
    auto entry = std::make_shared<Entry>();
    entry->name = nameOf(record, number);
    readRows(record);
    entry->entryClass = classOf(record);
    entry->values.reserve(rows_.size());
    for (size_t i = 0; i < rows_.size(); i++)
        if (rows_[i] != nullptr) entry->values.push_back({rows_[i], std::string(record.attributes[i].value)});
    if (const std::string *changed = entry->first("modifyTimestamp"))
        entry->modificationTime = value_parse(ZK_SYNTAX_TIME, *changed, root_).number;
    return entry;
}

// An object's place is spelled as its parent's own entry spells it, whatever its DN writes.
Name LdifStore::nameOf(const LdifRecord &record, uint32_t number) {
    Name name;
    name_parse_dn(record.dn, root_, &name, nullptr);
    if (names_.above(number) != no_name) {
        const Name &place = entry(names_.above(number))->name;
        std::copy(place.begin(), place.end(), name.begin() + 1);
    }
    return name;
}

// Someone who wrote a password in the clear, or as servers keep it, would look for the mistake in what they type. One
// that can be used beside it is enough: exports of servers hold others too.
std::string LdifStore::unusablePassword(const LdifRecord &record, const Entry &entry) {
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

} // namespace

static std::unique_ptr<LdifStore> load(LdifReader reader, const std::string &shown, const Name &base,
                                       const LdifOptions &options, LdifForm form) {
    auto store = std::make_unique<LdifStore>(std::move(reader), shown, base, options, form);
    store->load();
    return store;
}

std::unique_ptr<DirectoryStore> ldif_store_load(const std::string &path, const std::string &shown, const Name &base,
                                                size_t *objects, const LdifOptions &options) {
    std::unique_ptr<LdifStore> store = load(LdifReader(path, shown), shown, base, options, LdifForm::tree);
    store->setFile(path);
    if (objects != nullptr) *objects = store->size();
    return store;
}

std::unique_ptr<DirectoryStore> ldif_store_load(LdifText text, const std::string &shown, const Name &base) {
    LdifOptions options;
    options.anyName = true;
    return load(LdifReader(std::move(text), shown), shown, base, options, LdifForm::copy);
}

std::unique_ptr<DirectoryStore> ldif_store_load_addition(LdifText text, const std::string &shown, const Name &base,
                                                         const LdifOptions &options) {
    return load(LdifReader(std::move(text), shown), shown, base, options, LdifForm::addition);
}
