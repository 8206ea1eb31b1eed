#include "platform/common/nearest_name.h"

#include <algorithm>

#include "platform/common/nocase.h"

// How many letters have to be inserted, taken away, replaced or exchanged with their neighbour (the restricted
// Damerau-Levenshtein distance).
static size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::vector<size_t>> rows(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i) rows[i][0] = i;
    for (size_t j = 0; j <= b.size(); ++j) rows[0][j] = j;
    const auto same = [&](size_t i, size_t j) { return lower_case(a[i - 1]) == lower_case(b[j - 1]); };
    for (size_t i = 1; i <= a.size(); ++i)
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t replaced = rows[i - 1][j - 1] + (same(i, j) ? 0 : 1);
            rows[i][j] = std::min({rows[i - 1][j] + 1, rows[i][j - 1] + 1, replaced});
            if (i > 1 && j > 1 && same(i, j - 1) && same(i - 1, j))
                rows[i][j] = std::min(rows[i][j], rows[i - 2][j - 2] + 1);
        }
    return rows[a.size()][b.size()];
}

std::string_view nearest_name(std::string_view word, const std::vector<std::string_view> &names) {
    // A longer word is none that a person mistyped.
    constexpr size_t longest = 64;
    if (word.size() > longest) return {};
    std::string_view nearest;
    size_t least = std::max<size_t>(1, word.size() / 3) + 1;
    for (const std::string_view name : names) {
        if (name.size() > longest) continue;
        const size_t one = distance(word, name);
        if (one >= least) continue;
        least = one;
        nearest = name;
    }
    return nearest;
}
