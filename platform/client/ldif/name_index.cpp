#include "platform/client/ldif/name_index.h"

#include <algorithm>
#include <new>

#include "platform/client/ldif/keyed_hash.h"

// Takes what ends with a NUL; without one nothing.
static std::string_view take_text(std::string_view *from) {
    const std::string_view text = from->substr(0, from->find('\0') + 1);
    from->remove_prefix(text.size());
    return text;
}

// Without `parts` the types do not count.
bool NameIndex::isNamed(uint32_t number, std::string_view values, const NamePartView *parts) const {
    for (; number != no_name; number = nodes_[number].above) {
        const size_t end = number + 1 < nodes_.size() ? nodes_[number + 1].own : own_.size();
        std::string_view own = std::string_view(own_).substr(nodes_[number].own, end - nodes_[number].own);
        while (!own.empty()) {
            if (values.empty() || take_text(&values) != take_text(&own)) return false;
            std::string_view type = take_text(&own);
            type.remove_suffix(1);
            if (parts != nullptr && !name_type_may_be(parts++->type, type)) return false;
        }
    }
    return values.empty();
}

size_t NameIndex::slotOf(uint32_t hash, std::string_view values) const {
    size_t slot = hash & (slots_.size() - 1);
    while (slots_[slot] != no_name && (nodes_[slots_[slot]].hash != hash || !isNamed(slots_[slot], values, nullptr)))
        slot = (slot + 1) & (slots_.size() - 1);
    return slot;
}

// 0 where a part lacks its type.
static uint32_t hash_of_types(const NameKey &name) {
    std::string types;
    std::string_view values = name.values;
    for (const NamePartView *part = name.parts; !values.empty(); part++) {
        if (part->type.empty()) return 0;
        types.append(part->type).append(1, '\0');
        take_text(&values);
    }
    return keyed_hash(types);
}

static uint64_t both(uint32_t hash, uint32_t types) {
    return uint64_t{hash} << 32 | types;
}

// A file may have many names that differ only in their types: those with types are not sought one after the other.
uint32_t NameIndex::find(const NameKey &wanted) const {
    const uint32_t hash = keyed_hash(wanted.values);
    uint32_t number = slots_[slotOf(hash, wanted.values)];
    if (number == no_name || isNamed(number, wanted.values, wanted.parts)) return number;
    if (const uint32_t types = hash_of_types(wanted); types != 0) {
        const auto [first, end] = typed_.equal_range(both(hash, types));
        const auto found =
            std::find_if(first, end, [&](const auto &one) { return isNamed(one.second, wanted.values, wanted.parts); });
        return found == end ? no_name : found->second;
    }
    do {
        number = nodes_[number].sameKey;
    } while (number != no_name && !isNamed(number, wanted.values, wanted.parts));
    return number;
}

// At most half of the slots are taken.
void NameIndex::makeRoom() {
    if (2 * (keys_ + 1) <= slots_.size()) return;
    std::vector<uint32_t> old(2 * slots_.size(), no_name);
    old.swap(slots_);
    for (uint32_t number : old) {
        if (number == no_name) continue;
        size_t slot = nodes_[number].hash & (slots_.size() - 1);
        while (slots_[slot] != no_name) slot = (slot + 1) & (slots_.size() - 1);
        slots_[slot] = number;
    }
}

void NameIndex::add(const NameKey &name, uint32_t above) {
    makeRoom();
    const uint32_t hash = keyed_hash(name.values);
    const size_t slot = slotOf(hash, name.values);
    const size_t own = own_.size();
    if (own > UINT32_MAX) throw std::bad_alloc(); // four gigabytes of names
    std::string_view values = name.values;
    for (const NamePartView *part = name.parts; !values.empty(); part++) {
        own_.append(take_text(&values)).append(part->type).append(1, '\0');
        if (above != no_name) break;
    }
    const uint32_t number = size();
    nodes_.push_back({hash, static_cast<uint32_t>(own), above, no_name});
    if (slots_[slot] == no_name) {
        slots_[slot] = number;
        keys_++;
        return;
    }
    typed_.emplace(both(hash, hash_of_types(name)), number);
    uint32_t &last = last_.emplace(slots_[slot], slots_[slot]).first->second;
    nodes_[last].sameKey = number;
    last = number;
}
