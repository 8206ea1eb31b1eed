// Letters of all languages as LDAP servers compare them.
#ifndef PLATFORM_CLIENT_CORE_FOLD_H
#define PLATFORM_CLIENT_CORE_FOLD_H

#include <string>
#include <string_view>

// Compatibility forms taken apart and put together again, and each letter in lower case. Bytes that are not UTF-8 stay
// as they are.
std::string fold_letters(std::string_view value);

#endif
