// Texts in columns of a terminal, whatever letters a translation has.
#ifndef TOOLS_COLUMNS_H
#define TOOLS_COLUMNS_H

#include <string>

// How many columns the text takes, by the locale; its bytes where that cannot be said.
size_t columns_of(const std::string &text);

// With blanks behind it, up to so many columns.
std::string columns_padded(const std::string &text, size_t columns);

#endif
