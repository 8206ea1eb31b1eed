#include "tools/qrtscript/check/fixes.h"

#include <algorithm>
#include <map>

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

// How often each code is found that is no matter of style.
static std::map<const Code *, size_t> serious_counts(const Findings &findings) {
    std::map<const Code *, size_t> counts;
    for (const Finding &finding : findings)
        if (finding.severity >= Severity::warning) ++counts[finding.code];
    return counts;
}

static bool is_worse(const Findings &left, const Findings &before) {
    std::map<const Code *, size_t> known = serious_counts(before);
    for (const auto &[code, count] : serious_counts(left))
        if (count > known[code]) return true;
    return false;
}

static size_t fix_count(const Findings &findings) {
    return static_cast<size_t>(std::count_if(
        findings.begin(), findings.end(), [](const Finding &finding) { return finding.fix.has_value(); }));
}

static size_t code_count_in(const Findings &findings, const Code *code) {
    return static_cast<size_t>(std::count_if(
        findings.begin(), findings.end(), [&](const Finding &finding) { return finding.code == code; }));
}

// All that do not overlap, if that makes nothing worse and leaves less to do.
static bool make_together(FixedText *now, const TextCheck &check) {
    size_t count = 0;
    std::string text = fixes_made(now->text, now->findings, &count);
    if (count == 0) return false;
    Findings left = check(text);
    if (is_worse(left, now->findings) || fix_count(left) >= fix_count(now->findings)) return false;
    *now = {std::move(text), std::move(left), now->count + count};
    return true;
}

namespace {

// Makes of the fixes that do not go together those that do: a part that is refused is tried in halves, from the end of
// the text to its beginning, so that the places of the others stay.
class Parts {
  public:
    Parts(FixedText *now, const TextCheck &check, size_t *tries)
        : now_(now), check_(check), tries_(tries), before_(now->text.size() + 1) {}
    bool make(Findings fixable);

  private:
    bool makePart(const Findings &part);

    FixedText *now_;
    const TextCheck &check_;
    size_t *tries_;
    size_t before_; // where the last one that was made begins
};

} // namespace

bool Parts::makePart(const Findings &part) {
    size_t count = 0;
    std::string text = fixes_made(now_->text, part, &count);
    Findings left = check_(text);
    const Code *code = part.front().code;
    const bool helps = part.size() == 1 ? code_count_in(left, code) < code_count_in(now_->findings, code)
                                        : fix_count(left) < fix_count(now_->findings);
    if (!helps || is_worse(left, now_->findings)) return false;
    *now_ = {std::move(text), std::move(left), now_->count + count};
    before_ = part.back().fix->begin;
    return true;
}

// `fixable` is in the order of descending places.
bool Parts::make(Findings fixable) {
    const auto overlaps = [&](const Finding &one) { return one.fix->end > before_ || one.fix->begin == before_; };
    fixable.erase(std::remove_if(fixable.begin(), fixable.end(), overlaps), fixable.end());
    if (fixable.empty() || *tries_ == 0) return false;
    --*tries_;
    if (makePart(fixable)) return true;
    if (fixable.size() == 1) return false;
    const auto middle = fixable.begin() + static_cast<long>(fixable.size() / 2);
    const bool late = make({fixable.begin(), middle});
    const bool early = make({middle, fixable.end()});
    return late || early;
}

static bool make_in_parts(FixedText *now, const TextCheck &check, size_t *tries) {
    std::vector<const Finding *> sorted;
    for (const Finding &finding : now->findings)
        if (finding.fix) sorted.push_back(&finding);
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const Finding *a, const Finding *b) { return a->fix->begin > b->fix->begin; });
    Findings fixable;
    for (const Finding *finding : sorted) fixable.push_back(*finding);
    return Parts(now, check, tries).make(std::move(fixable));
}

FixedText text_fixed(const std::string &text, const TextCheck &check) {
    constexpr int most_rounds = 10;
    // Each try reads the whole text.
    constexpr size_t most_tries = 100, most_bytes = 5000000;
    size_t tries = std::min(most_tries, most_bytes / std::max<size_t>(text.size(), 1));
    FixedText now = {text, check(text)};
    for (int round = 0; round < most_rounds; ++round)
        if (!make_together(&now, check) && !make_in_parts(&now, check, &tries)) break;
    return now;
}
