#include "tools/qrtscript/plan/difference.h"

#include <algorithm>
#include <set>
#include <vector>

#include "tools/qrtscript/plan/show_text.h"

// The longest common part of two longer records is not looked for: what is between their equal ends counts as changed.
static constexpr size_t most_steps = 25000000;

namespace {

struct Effects {
    std::vector<const Json *> all;
    std::vector<std::string> keys;
};

} // namespace

static Effects effects_of(const Json &plan) {
    static const std::set<std::string> ways = {"script", "if", "else", "goto", "read", "include", "skipped"};
    Effects effects;
    for (const Json &effect : plan["effects"]) {
        if (ways.count(effect.value("kind", "")) != 0) continue;
        Json key = effect;
        key.erase("source");
        key.erase("line");
        effects.all.push_back(&effect);
        effects.keys.push_back(key.dump());
    }
    return effects;
}

static Json change_of(const char *change, const Json &plan, const Json &effect) {
    Json result = {{"change", change}, {"effect", effect}};
    const int source = effect.value("source", -1);
    result["script"] = source < 0 ? "login" : show_source(plan["sources"][static_cast<size_t>(source)]);
    return result;
}

// The lengths of the longest common subsequences of what is left of both, the table of which has a row and a column
// more than there are effects.
static std::vector<uint32_t> common_lengths(const Effects &a, const Effects &b, size_t start, size_t endA,
                                            size_t endB) {
    const size_t rows = endA - start, columns = endB - start;
    std::vector<uint32_t> table((rows + 1) * (columns + 1), 0);
    for (size_t i = rows; i-- > 0;)
        for (size_t j = columns; j-- > 0;) {
            const size_t at = i * (columns + 1) + j;
            table[at] = a.keys[start + i] == b.keys[start + j] ? table[at + columns + 2] + 1
                                                               : std::max(table[at + columns + 1], table[at + 1]);
        }
    return table;
}

Json difference_of(const Json &before, const Json &after) {
    const Effects a = effects_of(before), b = effects_of(after);
    size_t start = 0, endA = a.keys.size(), endB = b.keys.size();
    while (start < endA && start < endB && a.keys[start] == b.keys[start]) start++;
    while (endA > start && endB > start && a.keys[endA - 1] == b.keys[endB - 1]) endA--, endB--;
    const size_t columns = endB - start;
    const bool isSmall = (endA - start + 1) * (columns + 1) <= most_steps;
    const std::vector<uint32_t> table = isSmall ? common_lengths(a, b, start, endA, endB) : std::vector<uint32_t>();
    Json changes = Json::array();
    for (size_t i = start, j = start; i < endA || j < endB;) {
        const size_t at = (i - start) * (columns + 1) + (j - start);
        if (isSmall && i < endA && j < endB && a.keys[i] == b.keys[j])
            i++, j++;
        else if (i < endA && (j == endB || !isSmall || table[at + columns + 1] >= table[at + 1]))
            changes.push_back(change_of("removed", before, *a.all[i++]));
        else
            changes.push_back(change_of("added", after, *b.all[j++]));
    }
    return changes;
}

std::string difference_text(const Json &changes) {
    std::string text, script;
    for (const Json &change : changes) {
        const std::string sign = change.value("change", "") == "added" ? "+" : "-";
        const Json &effect = change["effect"];
        const std::string now = change.value("script", "");
        if (now != script) text += "\n" + now + "\n";
        script = now;
        text += show_beside(effect.value("line", 0), show_effect(effect), sign);
    }
    return text.empty() ? "\nNo change in the effects.\n" : text;
}
