// Which record of a tree has which name. The names are numbered as they are added; they are kept in their comparison
// form, each as its own part and the number of the name above it.
#ifndef PLATFORM_CLIENT_LDIF_NAME_INDEX_H
#define PLATFORM_CLIENT_LDIF_NAME_INDEX_H

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/client/core/names.h"

constexpr uint32_t no_name = UINT32_MAX;

// A name to look for.
struct NameKey {
    std::string_view values;   // name_key
    const NamePartView *parts; // whose types count

    // The name above it; of a name that is not the root.
    NameKey above() const { return {values.substr(values.find('\0') + 1), parts + 1}; }
};

class NameIndex {
  public:
    NameIndex() : slots_(first_slots, no_name) {}

    // The first record that the name can mean, or no_name; the name's parts may lack their types.
    uint32_t find(const NameKey &wanted) const;
    // A name that is not there. `above` is the number of the name above it, or no_name.
    void add(const NameKey &name, uint32_t above);

    uint32_t above(uint32_t number) const { return nodes_[number].above; }
    uint32_t size() const { return static_cast<uint32_t>(nodes_.size()); }

  private:
    static constexpr size_t first_slots = 64; // a power of two

    struct Node {
        uint32_t hash; // of its key
        uint32_t own;  // where its own parts begin in own_
        uint32_t above;
        uint32_t sameKey; // the next that differs only in its types
    };

    bool isNamed(uint32_t number, std::string_view values, const NamePartView *parts) const;
    size_t slotOf(uint32_t hash, std::string_view values) const;
    void makeRoom();

    std::vector<Node> nodes_;
    std::string own_;             // ( value NUL type NUL )*, one part but where there is no name above
    std::vector<uint32_t> slots_; // the first node of each key, where its hash points or after it
    size_t keys_ = 0;
    // Of the keys with several nodes: those but the first by the hashes of key and types, and the last by the first.
    std::unordered_multimap<uint64_t, uint32_t> typed_;
    std::unordered_map<uint32_t, uint32_t> last_;
};

#endif
