#include <algorithm>

#include "tools/qrtscript/check/rules.h"

Findings check_script(const Syntax &syntax) {
    Findings findings;
    for (const auto rule : {check_mistakes, check_blocks, check_labels}) rule(syntax, &findings);
    const auto before = [](const Finding &a, const Finding &b) {
        return a.place != b.place ? a.place < b.place : a.code->name < b.code->name;
    };
    std::stable_sort(findings.begin(), findings.end(), before);
    return findings;
}
