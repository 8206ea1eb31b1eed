// Whether output is in colour.
#ifndef TOOLS_QRTSCRIPT_CHECK_COLOUR_H
#define TOOLS_QRTSCRIPT_CHECK_COLOUR_H

#include <optional>
#include <string_view>

enum class ColourWhen { automatic, always, never };

// "auto", "always", "never".
std::optional<ColourWhen> colour_when_named(std::string_view name);

// Of standard output: automatically on a terminal that has colours, unless NO_COLOR is set and not empty.
bool colour_wanted(ColourWhen when);

#endif
