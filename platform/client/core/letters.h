// Letters of all languages. What is not ASCII is looked up with libunistring, which is loaded for the first of them.
#ifndef PLATFORM_CLIENT_CORE_LETTERS_H
#define PLATFORM_CLIENT_CORE_LETTERS_H

#include <cstdint>
#include <string>
#include <string_view>

// As LDAP servers compare them: compatibility forms taken apart and put together again, and each letter in lower case.
// Bytes that are not UTF-8 stay as they are. Throws runtime_error when the library cannot be loaded.
std::string letters_fold(std::string_view value);

// Whether a terminal might obey it, or end the line: control characters, marks of direction, line ends. So might all
// but ASCII when the library cannot be loaded.
bool letter_is_harmful(uint32_t letter) noexcept;

#endif
