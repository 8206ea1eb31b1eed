// What formatting changes, as a patch.
#ifndef TOOLS_QRTSCRIPT_CHECK_LINE_DIFF_H
#define TOOLS_QRTSCRIPT_CHECK_LINE_DIFF_H

#include <string>
#include <string_view>

// The unified difference of two texts in which line n of one became line n of the other, but for lines that are gone at
// the end. Empty for equal texts.
std::string line_diff(const std::string &name, std::string_view before, std::string_view after);

#endif
