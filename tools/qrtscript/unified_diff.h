// The difference between two texts, as diff(1) shows it.
#ifndef TOOLS_QRTSCRIPT_UNIFIED_DIFF_H
#define TOOLS_QRTSCRIPT_UNIFIED_DIFF_H

#include <string>

// A text and what it is called in the difference.
struct NamedText {
    std::string label;
    std::string text;
};

// A unified diff, empty for the same text. Throws std::system_error when diff cannot be run.
std::string unified_diff(const NamedText &before, const NamedText &after);

#endif
