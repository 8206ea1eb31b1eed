// Distinguished names: components separated by ".", leaf first. A "." or "=" directly after a backslash is part of its
// component; only that one character is looked at.
#ifndef DIRECTORY_NAMES_H
#define DIRECTORY_NAMES_H

#include <cstddef>
#include <string>
#include <string_view>

// The size of a buffer that takes any object name of the client, with some room.
inline constexpr size_t names_buffer_size = 514;

// Where the first delimiter without a backslash before it stands, or npos.
size_t names_find_delimiter(std::string_view text, std::string_view delimiter);

struct NameParts {
    std::string parent;    // "[Root]" for a name of one component
    std::string leaf;      // without its type
    std::string typedLeaf; // as written
};

// Splits a name; one leading "." is skipped.
NameParts names_split(std::string_view name);

// The name without the one- and two-letter type prefixes after a period, of at most `longest` bytes that are looked at.
std::string names_abbreviated(std::string_view name, size_t longest);

// Copies `text` and its NUL into `out`. False, and `out` is empty, when it does not fit into `size` bytes.
bool names_copy(char *out, size_t size, std::string_view text);

#endif
