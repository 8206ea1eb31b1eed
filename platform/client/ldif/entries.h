// The entries of a tree in LDIF, numbered in the order of their records. All records are checked when they are read; of
// each only its place in the text is kept, and the entry is made from there when it is asked for.
#ifndef PLATFORM_CLIENT_LDIF_ENTRIES_H
#define PLATFORM_CLIENT_LDIF_ENTRIES_H

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/client/core/directory_store.h"
#include "platform/client/ldif/name_index.h"
#include "platform/client/ldif/reader.h"

// A copy contains what servers have shown, which may lack what a tree must have, and so may what adds to a directory.
enum class LdifForm { tree, copy, addition };

// Does the attribute name members of a group?
bool ldif_is_member(const SchemaAttribute *attribute);

class LdifEntries {
  public:
    // Reads all records. Throws DataError, with file and line, for one that the form does not allow.
    LdifEntries(LdifReader reader, const Name &base, LdifForm form);

    const Name &treeBase() const { return base_; }
    uint32_t size() const { return names_.size(); }

    // The first entry that the name can mean; no_name when there is none.
    uint32_t numberOf(const Name &name) const;

    // All that follow throw DataError when a value's own file can no longer be read.

    // The same object whenever it is asked for.
    EntryPtr entry(uint32_t number);
    // The same entry, which is not kept when this is the first that is asked of it.
    std::shared_ptr<Entry> made(uint32_t number);

    const std::vector<uint32_t> &servers() const { return servers_; }
    const std::vector<uint32_t> &volumes() const { return volumes_; }
    // The groups with this member, each once, and perhaps some without it.
    std::vector<uint32_t> groupsPerhapsWith(const Name &member);

    // Where the password of an entry that has been kept stands, when nothing can match it; empty for another one.
    std::string unusablePassword(uint32_t number) const;

    // The values of an attribute that the schema does not have, and how the record spells its name.
    std::vector<std::string> otherValues(uint32_t number, std::string_view attribute, std::string *spelled);

    // The path of the file that has the entry's value of the attribute, or would have it.
    std::string fileOf(uint32_t number, const SchemaAttribute *attribute);

  private:
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

    void add(const LdifRecord &record);
    void viewDn(const LdifRecord &record);
    void takePlace(const LdifRecord &record);
    const SchemaAttribute *rowOf(std::string_view name);
    void readRows(const LdifRecord &record);
    bool has(const SchemaAttribute *row) const;
    void checkValue(const LdifRecord &record, size_t i);
    const SchemaClass *classOf(const LdifRecord &record);
    void checkEntry(const LdifRecord &record, const SchemaClass &entryClass);

    std::shared_ptr<Entry> entryOf(const LdifRecord &record, uint32_t number);
    Name nameOf(const LdifRecord &record, uint32_t number);
    void keep(const LdifRecord &record, uint32_t number);
    std::string noHashOf(const LdifRecord &record, const Entry &entry);

    LdifReader reader_;
    Name base_;
    LdifForm form_;
    NameIndex names_;
    std::vector<Node> nodes_;     // by the numbers of their names
    std::vector<Member> members_; // of all groups
    bool membersSorted_ = false;  // when they are first asked for
    std::vector<uint32_t> servers_;
    std::vector<uint32_t> volumes_;
    std::unordered_map<uint32_t, Kept> kept_; // the entries that have been made

    // Used again for each record: its DN and its key, one of its values, what its attributes are.
    DnView dn_;
    DnView valueDn_;
    std::string key_;
    std::vector<const SchemaAttribute *> rows_;
    std::vector<std::string_view> objectClasses_;
    std::array<KnownAttribute, 128> known_;
};

#endif
