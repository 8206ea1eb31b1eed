#include "tools/columns.h"

#include <cstdlib>
#include <cwchar>

size_t columns_of(const std::string &text) {
    std::wstring letters(text.size(), L'\0');
    const size_t count = mbstowcs(letters.data(), text.c_str(), letters.size());
    const int columns = count > text.size() ? -1 : wcswidth(letters.data(), count);
    return columns < 0 ? text.size() : static_cast<size_t>(columns);
}

std::string columns_padded(const std::string &text, size_t columns) {
    const size_t there = columns_of(text);
    return there < columns ? text + std::string(columns - there, ' ') : text;
}
