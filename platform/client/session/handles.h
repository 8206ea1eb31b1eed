// What programs hold by number: the numbers count up from 1, and none is used twice.
#ifndef PLATFORM_CLIENT_SESSION_HANDLES_H
#define PLATFORM_CLIENT_SESSION_HANDLES_H

#include <cstdint>
#include <map>
#include <utility>

#include "platform/client/core/errors.h"

template <typename Item>
class HandleTable {
  public:
    // `unknown`: the code for a handle that was never made or has been closed.
    explicit HandleTable(uint32_t unknownCode) : unknown_(unknownCode) {}

    // Returns the item's handle.
    uint32_t open(Item item) {
        items_.emplace(last_ + 1, std::move(item));
        return ++last_;
    }

    // Null for a handle that is not open.
    Item *find(uint32_t handle) {
        auto found = items_.find(handle);
        return found == items_.end() ? nullptr : &found->second;
    }
    // Both throw CodedError for a handle that is not open.
    Item &at(uint32_t handle) {
        Item *found = find(handle);
        error_unless(found != nullptr, unknown_);
        return *found;
    }
    void close(uint32_t handle) { error_unless(items_.erase(handle) == 1, unknown_); }

    // In the order of opening.
    auto begin() { return items_.begin(); }
    auto end() { return items_.end(); }
    auto after(uint32_t handle) { return items_.upper_bound(handle); }
    size_t size() const { return items_.size(); }

  private:
    std::map<uint32_t, Item> items_;
    uint32_t last_ = 0;
    const uint32_t unknown_;
};

#endif
