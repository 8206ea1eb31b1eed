#include "tools/qrtscript/check/fixes.h"

#include <algorithm>

std::string fixes_made(const std::string &text, const Findings &findings, size_t *count) {
    std::vector<const Fix *> fixes;
    for (const Finding &finding : findings)
        if (finding.fix) fixes.push_back(&*finding.fix);
    std::stable_sort(fixes.begin(), fixes.end(), [](const Fix *a, const Fix *b) { return a->begin < b->begin; });
    std::string fixed;
    size_t done = 0; // of `text`
    const Fix *last = nullptr;
    *count = 0;
    for (const Fix *fix : fixes) {
        // Two at the same place overlap even if neither takes anything away.
        if (last != nullptr && (fix->begin < done || fix->begin == last->begin)) continue;
        fixed.append(text, done, fix->begin - done).append(fix->text);
        done = fix->end;
        last = fix;
        ++*count;
    }
    return fixed.append(text, done);
}

static long error_count(const Findings &findings) {
    return std::count_if(
        findings.begin(), findings.end(), [](const Finding &finding) { return finding.severity == Severity::error; });
}

FixedText text_fixed(const std::string &text, const std::function<Findings(const std::string &)> &check) {
    constexpr int most_rounds = 10;
    FixedText result = {text, check(text)};
    for (int round = 0; round < most_rounds; ++round) {
        size_t count = 0;
        std::string next = fixes_made(result.text, result.findings, &count);
        if (count == 0 || next == result.text) break;
        Findings left = check(next);
        if (error_count(left) > error_count(result.findings)) break;
        result = {std::move(next), std::move(left), result.count + count};
    }
    return result;
}
