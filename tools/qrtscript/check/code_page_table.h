// What the build makes of docs/codes/*.md (cmake/code_pages.cmake).
#ifndef TOOLS_QRTSCRIPT_CHECK_CODE_PAGE_TABLE_H
#define TOOLS_QRTSCRIPT_CHECK_CODE_PAGE_TABLE_H

#include <cstddef>
#include <string_view>

struct CodePage {
    std::string_view code, text;
};

extern const CodePage code_page_table[];
extern const size_t code_page_count;

#endif
