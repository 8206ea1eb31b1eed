// What changes in the effects when one script takes the place of another.
#ifndef TOOLS_QRTSCRIPT_PLAN_DIFFERENCE_H
#define TOOLS_QRTSCRIPT_PLAN_DIFFERENCE_H

#include <string>

#include "tools/qrtscript/plan/recorder.h"

// The effects of `before` that `after` does not have, and the other way round, in their order: {"change": "removed" or
// "added", "effect": ..., "source": ...}. Where a statement stands is no effect, nor is which way the script has taken.
Json difference_of(const Json &before, const Json &after);

// The same for people: "-" and "+" lines.
std::string difference_text(const Json &changes);

#endif
