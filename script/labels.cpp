#include "script/labels.h"

#include <algorithm>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/common/nocase.h"

namespace {

struct FoldedHash {
    size_t operator()(std::string_view word) const {
        size_t hash = 14695981039346656037U; // FNV-1a, 64 bits
        for (const char c : word) hash = (hash ^ static_cast<unsigned char>(lower_case(c))) * 1099511628211U;
        return hash;
    }
};

struct FoldedEqual {
    bool operator()(std::string_view a, std::string_view b) const { return equal_nocase(a, b); }
};

} // namespace

// The labels of "label:" lines, and of ":label" lines those that were looked for, with the index behind them. The keys
// are parts of the text.
static std::unordered_map<std::string_view, int32_t, FoldedHash, FoldedEqual> known;
static std::vector<size_t> colon_lines; // the lines that begin with a colon, by the index behind it
static const char *indexed_text = nullptr;

void labels_forget() {
    indexed_text = nullptr;
    known.clear();
    colon_lines.clear();
}

static bool is_part_of_label(char c) {
    static constexpr std::string_view others(" \t\n\r:;\\/\"#@%+()!=<>\0", 20);
    return others.find(c) == others.npos;
}

static void index_line(std::string_view text, size_t start) {
    if (start < text.size() && text[start] == ':') {
        colon_lines.push_back(start + 1);
        return;
    }
    const auto *end = std::find_if_not(text.begin() + start, text.end(), is_part_of_label);
    const auto length = static_cast<size_t>(end - text.begin()) - start;
    // The first line of a name stays.
    if (end != text.end() && *end == ':')
        known.emplace(text.substr(start, length), static_cast<int32_t>(start + length + 1));
}

static void index_text(std::string_view text) {
    labels_forget();
    for (size_t line = text.find('\n'); line != text.npos; line = text.find('\n', line + 1)) index_line(text, line + 1);
    indexed_text = text.data();
}

// Required: ":label" is met by every line that only begins with it.
static std::optional<int32_t> find_behind_colon(std::string_view text, std::string_view label) {
    const auto isMet = [&](size_t start) { return equal_nocase(text.substr(start, label.size()), label); };
    const auto line = std::find_if(colon_lines.begin(), colon_lines.end(), isMet);
    if (line == colon_lines.end()) return std::nullopt;
    const auto behind = static_cast<int32_t>(*line + label.size());
    known.emplace(text.substr(*line, label.size()), behind);
    return behind;
}

// What no script can jump to, but a caller can ask for.
static std::optional<int32_t> find_odd_label(std::string_view text, const std::string &label) {
    for (const std::string &pattern : {"\n" + label + ":", "\n:" + label})
        for (size_t line = text.find('\n'); line != text.npos; line = text.find('\n', line + 1))
            if (equal_nocase(text.substr(line, pattern.size()), pattern))
                return static_cast<int32_t>(line + pattern.size());
    return std::nullopt;
}

std::optional<int32_t> labels_find(std::string_view text, std::string_view label) {
    if (!std::all_of(label.begin(), label.end(), is_part_of_label)) return find_odd_label(text, std::string(label));
    if (indexed_text != text.data()) index_text(text);
    const auto found = known.find(label);
    return found != known.end() ? found->second : find_behind_colon(text, label);
}
