// Which values a program is handed. A login script puts values into words of programs, into drives and onto the
// terminal, and quotes cannot protect them there: what could act as more than a value counts as not there.
#ifndef PLATFORM_CLIENT_CORE_PLAIN_VALUES_H
#define PLATFORM_CLIENT_CORE_PLAIN_VALUES_H

#include <string_view>

#include "platform/client/core/config.h"
#include "platform/client/core/directory_store.h"
#include "platform/client/core/values.h"

// No control characters (U+0000 to U+001F, U+007F to U+009F) but those of `allowed`, and valid UTF-8.
bool text_is_plain(std::string_view text, std::string_view allowed = "");

// No control characters in any part of the entry's name, nor in a server's own name.
bool entry_name_is_plain(const Entry &entry);

// Does an attribute's name say that its values are nobody's to read: a password, a key, a hash?
bool attribute_is_secret(std::string_view name);

// May the value of the entry be returned, as far as the tree's any_text and any_path say so? Its names have been put
// into form (value_put_names).
bool value_is_handed_out(const ConfigTree &tree, const Entry &entry, const SchemaAttribute &attribute,
                         const Value &value);

#endif
