// Puts right what findings have a fix for.
#ifndef TOOLS_QRTSCRIPT_CHECK_FIXES_H
#define TOOLS_QRTSCRIPT_CHECK_FIXES_H

#include <functional>

#include "tools/qrtscript/check/finding.h"

// One round: of fixes that overlap the first one is made. `count` becomes how many were.
std::string fixes_made(const std::string &text, const Findings &findings, size_t *count);

struct FixedText {
    std::string text;
    Findings findings; // which are left
    size_t count = 0;  // of the fixes
};

using TextCheck = std::function<Findings(const std::string &)>;

// Makes fixes, each round by the findings of the text that the last one left, until there is nothing more to do, ten
// times at most. A fix that makes more findings of a code than there were, of severity warning or above, or leaves its
// own, is not made; of those that do not go together the ones of a large text may be left.
FixedText text_fixed(const std::string &text, const TextCheck &check);

#endif
