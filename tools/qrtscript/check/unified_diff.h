// The difference between two texts, as diff(1) shows it.
#ifndef TOOLS_QRTSCRIPT_CHECK_UNIFIED_DIFF_H
#define TOOLS_QRTSCRIPT_CHECK_UNIFIED_DIFF_H

#include <string>

// A unified diff between two texts of the file `name`; empty when they are the same. Throws std::system_error when diff
// cannot be run.
std::string unified_diff(const std::string &name, const std::string &before, const std::string &after);

#endif
