// The rules of the check, one function for each group of codes. Each adds what it finds; the order does not matter.
#ifndef TOOLS_QRTSCRIPT_CHECK_RULES_H
#define TOOLS_QRTSCRIPT_CHECK_RULES_H

#include "tools/qrtscript/check/finding.h"
#include "tools/qrtscript/check/syntax.h"

// What a login would report: mistakes of the parser, each at its own line.
void check_mistakes(const Syntax &syntax, Findings *findings);
// IF, ELSE and END that do not belong together.
void check_blocks(const Syntax &syntax, Findings *findings);
// Labels and jumps.
void check_labels(const Syntax &syntax, Findings *findings);

// All of them, sorted by place.
Findings check_script(const Syntax &syntax);

#endif
