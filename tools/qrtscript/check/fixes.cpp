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

static size_t error_count(const Findings &findings) {
    return static_cast<size_t>(std::count_if(
        findings.begin(), findings.end(), [](const Finding &finding) { return finding.severity == Severity::error; }));
}

static size_t fix_count(const Findings &findings) {
    return static_cast<size_t>(std::count_if(
        findings.begin(), findings.end(), [](const Finding &finding) { return finding.fix.has_value(); }));
}

static size_t code_count_in(const Findings &findings, const Code *code) {
    return static_cast<size_t>(std::count_if(
        findings.begin(), findings.end(), [&](const Finding &finding) { return finding.code == code; }));
}

// All that do not overlap, if that makes no mistake and leaves less to do.
static bool make_together(FixedText *now, const TextCheck &check) {
    size_t count = 0;
    std::string text = fixes_made(now->text, now->findings, &count);
    if (count == 0) return false;
    Findings left = check(text);
    if (error_count(left) > error_count(now->findings) || fix_count(left) >= fix_count(now->findings)) return false;
    *now = {std::move(text), std::move(left), now->count + count};
    return true;
}

// Those that go alone: each makes no mistake and makes its finding go away. From the last to the first, so that the
// places of the others stay.
static bool make_one_by_one(FixedText *now, const TextCheck &check) {
    constexpr size_t most = 100; // each reads the whole text
    const Findings all = now->findings;
    std::vector<const Finding *> fixable;
    for (const Finding &finding : all)
        if (finding.fix) fixable.push_back(&finding);
    std::stable_sort(fixable.begin(), fixable.end(),
                     [](const Finding *a, const Finding *b) { return a->fix->begin > b->fix->begin; });
    if (fixable.size() > most) fixable.resize(most);
    size_t before = now->text.size() + 1; // where the last one that was made begins
    bool found = false;
    for (const Finding *finding : fixable) {
        if (finding->fix->end > before || finding->fix->begin == before) continue;
        size_t count = 0;
        std::string text = fixes_made(now->text, {*finding}, &count);
        Findings left = check(text);
        if (error_count(left) > error_count(now->findings) ||
            code_count_in(left, finding->code) >= code_count_in(now->findings, finding->code))
            continue;
        *now = {std::move(text), std::move(left), now->count + count};
        before = finding->fix->begin;
        found = true;
    }
    return found;
}

FixedText text_fixed(const std::string &text, const TextCheck &check) {
    constexpr int most_rounds = 10;
    FixedText now = {text, check(text)};
    for (int round = 0; round < most_rounds; ++round)
        if (!make_together(&now, check) && !make_one_by_one(&now, check)) break;
    return now;
}
