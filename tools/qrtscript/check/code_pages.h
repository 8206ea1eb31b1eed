// The pages about codes: docs/codes/*.md, which are compiled in.
#ifndef TOOLS_QRTSCRIPT_CHECK_CODE_PAGES_H
#define TOOLS_QRTSCRIPT_CHECK_CODE_PAGES_H

#include <string_view>
#include <vector>

// The page of a code in capitals, as Markdown; empty when there is none.
std::string_view code_page(std::string_view code);

// The codes that have a page, sorted.
std::vector<std::string_view> code_pages();

#endif
