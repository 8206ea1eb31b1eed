// How a name leads to an entry, along aliases, in any store.
#ifndef PLATFORM_CLIENT_CORE_ENTRY_FIND_H
#define PLATFORM_CLIENT_CORE_ENTRY_FIND_H

#include <functional>

#include "platform/client/core/directory_store.h"

// The entry of exactly this name, aliases not followed; null when there is none.
using EntryAt = std::function<EntryPtr(const Name &)>;

// As DirectoryStore::find. `at` is asked for each name on the way; `above`, after `at` had none, for the objects above
// the name, the nearest first. The root is there even when it has no entry.
EntryPtr entry_find(const Name &name, Aliases aliases, const Name &base, const EntryAt &at, const EntryAt &above);

#endif
