#include "tools/qrtscript/check/code_pages.h"

#include "tools/qrtscript/check/code_page_table.h"

std::string_view code_page(std::string_view code) {
    for (size_t place = 0; place < code_page_count; ++place)
        if (code_page_table[place].code == code) return code_page_table[place].text;
    return {};
}

std::vector<std::string_view> code_pages() {
    std::vector<std::string_view> all;
    for (size_t place = 0; place < code_page_count; ++place) all.push_back(code_page_table[place].code);
    return all;
}
