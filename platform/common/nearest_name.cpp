#include "platform/common/nearest_name.h"

#include <algorithm>

#include "platform/common/nocase.h"

// A longer word is none that a person mistyped.
constexpr size_t longest = 64;

// How many letters have to be inserted, taken away, replaced or exchanged with their neighbour (the restricted
// Damerau-Levenshtein distance), or `limit` if that are as many or more. Neither word is longer than `longest`.
static size_t distance(std::string_view a, std::string_view b, size_t limit) {
    const size_t differing = a.size() > b.size() ? a.size() - b.size() : b.size() - a.size();
    if (differing >= limit) return limit;
    size_t rows[3][longest + 1];
    size_t *last = rows[0], *above = rows[1], *row = rows[2];
    for (size_t j = 0; j <= b.size(); ++j) above[j] = last[j] = j;
    const auto same = [&](size_t i, size_t j) { return lower_case(a[i - 1]) == lower_case(b[j - 1]); };
    size_t leastAbove = 0;
    for (size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        size_t least = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + (same(i, j) ? 0 : 1)});
            if (i > 1 && j > 1 && same(i, j - 1) && same(i - 1, j)) row[j] = std::min(row[j], last[j - 2] + 1);
            least = std::min(least, row[j]);
        }
        // Each row is made of the two above it.
        if (least >= limit && leastAbove >= limit) return limit;
        leastAbove = least;
        size_t *const oldest = last;
        last = above;
        above = row;
        row = oldest;
    }
    return std::min(above[b.size()], limit);
}

std::string_view nearest_name(std::string_view word, const std::vector<std::string_view> &names) {
    if (word.size() > longest) return {};
    std::string_view nearest;
    size_t least = std::max<size_t>(1, word.size() / 3) + 1;
    for (const std::string_view name : names) {
        if (name.size() > longest) continue;
        const size_t one = distance(word, name, least);
        if (one >= least) continue;
        least = one;
        nearest = name;
    }
    return nearest;
}
