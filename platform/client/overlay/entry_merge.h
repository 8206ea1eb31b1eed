// What a site adds to an entry of its directory.
#ifndef PLATFORM_CLIENT_OVERLAY_ENTRY_MERGE_H
#define PLATFORM_CLIENT_OVERLAY_ENTRY_MERGE_H

#include "platform/client/core/directory_store.h"

// Adds the values of `addition` to the entry: of an attribute that can have one value only, in place of the entry's, of
// others beside those that the entry has. The entry stays of its class.
void entry_merge(const Entry &addition, Entry *entry);

// Puts the value in place of those that the entry has.
void entry_replace(const SchemaAttribute *attribute, const std::string &value, Entry *entry);

bool entry_attribute_is_single(const SchemaAttribute &attribute);

#endif
