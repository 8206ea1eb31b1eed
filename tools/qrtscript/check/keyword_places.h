// Which tokens of a script are keywords where they stand: "IF" of an IF, but not of WRITE IF, which prints a word.
#ifndef TOOLS_QRTSCRIPT_CHECK_KEYWORD_PLACES_H
#define TOOLS_QRTSCRIPT_CHECK_KEYWORD_PLACES_H

#include <vector>

#include "tools/qrtscript/check/syntax.h"

// For each of Syntax::tokens whether the grammar took it as a keyword. False in statements that could not be read.
std::vector<bool> keyword_places(const Syntax &syntax);

#endif
