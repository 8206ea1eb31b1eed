// Differences on their way to standard output.
#ifndef TOOLS_QRTSCRIPT_CHECK_DIFF_OUTPUT_H
#define TOOLS_QRTSCRIPT_CHECK_DIFF_OUTPUT_H

#include <string>

#include "tools/qrtscript/check/colour.h"

// A unified diff as it is shown: byte for byte where it is a patch for a program; with nothing that a terminal would
// obey on one; its lines in colours when they are wanted.
std::string diff_for_output(const std::string &diff, ColourWhen when);

#endif
