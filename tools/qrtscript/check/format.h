// A script in the usual style: the same tokens, labels and effects, with other blanks, line ends and letter case.
#ifndef TOOLS_QRTSCRIPT_CHECK_FORMAT_H
#define TOOLS_QRTSCRIPT_CHECK_FORMAT_H

#include <string>

#include "tools/qrtscript/check/syntax.h"

struct FormatOptions {
    size_t indentation = 2; // blanks for each level
};
constexpr size_t format_widest_indentation = 16;

// The script with each statement indented by the IFs that it stands in, with keywords in capitals, without blanks that
// mean nothing at the ends of lines, with line feeds for line ends, and without empty lines at its end. What it does
// and what a login says of it stay the same:
//  - a line whose beginning is, or would become, a label keeps the blanks in front of it;
//  - lines with a mistake, those that a login quotes for one, a last line without its end and everything behind a NUL
//    are left as they are;
//  - a script with a mistake keeps its line ends, since they count when a login decides which mistakes it reports.
// No lines are added or removed but the empty ones at the end.
std::string script_formatted(const Syntax &syntax, const FormatOptions &options);

#endif
