#include "tools/qrtscript/check/line_diff.h"

#include <algorithm>
#include <vector>

using LineList = std::vector<std::string_view>;

static LineList lines_of(std::string_view text) {
    LineList lines;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        lines.push_back(text.substr(0, end == text.npos ? end : end + 1));
        text.remove_prefix(lines.back().size());
    }
    return lines;
}

static void add_line(char sign, std::string_view line, std::string *text) {
    *text += sign;
    *text += line;
    if (line.back() != '\n') *text += "\n\\ No newline at end of file\n";
}

static std::string range(size_t first, size_t count) {
    // An empty range is named by the line before it.
    return std::to_string(count > 0 ? first + 1 : first) + (count == 1 ? "" : "," + std::to_string(count));
}

// Lines `first` to `end` of the longer text, the differing ones in runs.
static void add_hunk(const LineList &before, const LineList &after, size_t first, size_t end, std::string *text) {
    const size_t oldEnd = std::min(end, before.size()), newEnd = std::min(end, after.size());
    const size_t oldCount = oldEnd - std::min(first, oldEnd), newCount = newEnd - std::min(first, newEnd);
    *text += "@@ -" + range(oldEnd - oldCount, oldCount) + " +" + range(newEnd - newCount, newCount) + " @@\n";
    const auto same = [&](size_t line) {
        return line < before.size() && line < after.size() && before[line] == after[line];
    };
    for (size_t line = first; line < end;) {
        if (same(line)) {
            add_line(' ', before[line++], text);
            continue;
        }
        size_t runEnd = line;
        while (runEnd < end && !same(runEnd)) ++runEnd;
        for (size_t one = line; one < std::min(runEnd, before.size()); ++one) add_line('-', before[one], text);
        for (size_t one = line; one < std::min(runEnd, after.size()); ++one) add_line('+', after[one], text);
        line = runEnd;
    }
}

std::string line_diff(const std::string &name, std::string_view before, std::string_view after) {
    constexpr size_t context = 3;
    const LineList old = lines_of(before), now = lines_of(after);
    const size_t count = std::max(old.size(), now.size());
    const auto differs = [&](size_t line) {
        return line >= old.size() || line >= now.size() || old[line] != now[line];
    };
    std::string text;
    for (size_t line = 0; line < count; ++line) {
        if (!differs(line)) continue;
        if (text.empty()) text = "--- " + name + "\n+++ " + name + "\n";
        const size_t first = line - std::min(line, context);
        size_t last = line; // the last one that differs and is near enough
        for (size_t one = line; one < count && one <= last + 2 * context + 1; ++one)
            if (differs(one)) last = one;
        const size_t end = std::min(last + context + 1, count);
        add_hunk(old, now, first, end, &text);
        line = last;
    }
    return text;
}
