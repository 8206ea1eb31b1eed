// Distinguished names: components separated by ".", leaf first. A "." or "=" directly after a backslash is part of its
// component; only that one character is looked at. The exported qrt_DSFindDelimiter and qrt_DSRemoveNameFromFullName
// (qrtscript.h) and their internal twins are the same functions.
#ifndef DIRECTORY_NAMES_H
#define DIRECTORY_NAMES_H

#include <string>
#include <string_view>

// The size of a buffer that takes any object name of the client, with some room.
inline constexpr size_t names_buffer_size = 514;

struct NameParts {
    std::string parent;    // "[Root]" for a name of one component
    std::string leaf;      // without its type
    std::string typedLeaf; // as written
};

// Splits a name; one leading "." is skipped.
NameParts names_split(std::string_view name);

// Copies `text` and its NUL into `out`. False, and `out` is empty, when it does not fit into `size` bytes.
bool names_copy(char *out, size_t size, std::string_view text);

// The twins, for callers inside the library.
char *DSFindDelimiter(const char *text, const char *delimiter);
char *DSRemoveNameFromFullName(const char *name, char *parent, char *leaf, char *typedLeaf);

#endif
