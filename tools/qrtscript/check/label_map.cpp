#include "tools/qrtscript/check/label_map.h"

#include <algorithm>

#include "language/grammar.tab.h"
#include "platform/catalogue.h"
#include "platform/common/nocase.h"
#include "script/labels.h"

constexpr size_t longest_label = 77; // a login finds no longer ones

namespace {

// The library keeps an index of the last text that was searched, by its address.
class LabelSearch {
  public:
    explicit LabelSearch(const std::string &text) : text_(text) { labels_forget(); }
    ~LabelSearch() { labels_forget(); }
    LabelSearch(const LabelSearch &) = delete;
    LabelSearch &operator=(const LabelSearch &) = delete;

    // The start of the line that a jump goes on in.
    std::optional<size_t> line(const std::string &name) const {
        if (name.size() > longest_label) return {};
        const std::optional<int32_t> behind = labels_find(text_, name);
        if (!behind) return {};
        return text_.rfind('\n', static_cast<size_t>(*behind) - 1) + 1;
    }

  private:
    const std::string &text_;
};

} // namespace

static TokenRange operand(const Syntax &syntax, const Statement &statement) {
    return syntax.phrases[statement.operands.front()].tokens;
}

static std::string name_of(const Syntax &syntax, TokenRange tokens) {
    std::string name;
    for (size_t token = tokens.first; token < tokens.end; ++token) name += syntax.spelling(syntax.tokens[token]);
    return name;
}

LabelMap::LabelMap(const Syntax &syntax) {
    const LabelSearch search(syntax.text);
    for (const Statement &statement : syntax.statements) {
        const bool isLabel = statement.kind == Statement::Kind::label;
        if (!isLabel && statement.kind != Statement::Kind::go_to) continue;
        const TokenRange tokens = operand(syntax, statement);
        const size_t begin = syntax.begin(tokens), end = syntax.end(tokens);
        const std::string name = name_of(syntax, tokens);
        const std::optional<size_t> found = search.line(name);
        const size_t line = begin == 0 ? 0 : syntax.text.rfind('\n', begin - 1) + 1;
        if (isLabel)
            labels.push_back({name, begin, end, line, found == line});
        else
            jumps.push_back({name, begin, end, found});
    }
}

template <typename List>
static auto at_place(const List &list, size_t place) -> decltype(list.data()) {
    for (const auto &one : list)
        if (one.begin <= place && place <= one.end) return &one;
    return nullptr;
}

const LabelMap::Label *LabelMap::labelAt(size_t place) const {
    return at_place(labels, place);
}

const LabelMap::Jump *LabelMap::jumpAt(size_t place) const {
    return at_place(jumps, place);
}

const LabelMap::Label *LabelMap::labelOf(size_t line) const {
    for (const Label &label : labels)
        if (label.line == line) return &label;
    return nullptr;
}

std::vector<const LabelMap::Jump *> LabelMap::jumpsTo(const Label &label) const {
    std::vector<const Jump *> found;
    for (const Jump &jump : jumps)
        if (jump.line ? *jump.line == label.line : equal_nocase(jump.name, label.name)) found.push_back(&jump);
    return found;
}

// One word that is no keyword, of a length that is found.
static bool is_label_name(const std::string &name) {
    if (name.empty() || name.size() > longest_label) return false;
    const Syntax syntax = syntax_read("GOTO " + name + "\n");
    return syntax.mistakes.empty() && syntax.tokens.size() == 3 && syntax.tokens[1].kind == STRING &&
           syntax.spelling(syntax.tokens[1]) == name;
}

static bool begins_with(std::string_view text, std::string_view beginning) {
    return equal_nocase(text.substr(0, beginning.size()), beginning);
}

static bool behind_colon(const Syntax &syntax, const LabelMap::Label &label) {
    return label.begin > 0 && syntax.text[label.line] == ':';
}

// A line ":name" is met by every GOTO that names its beginning.
static bool collides(const Syntax &syntax, const LabelMap::Label &label, const LabelMap::Label &other,
                     const std::string &name) {
    if (equal_nocase(other.name, name)) return true;
    if (behind_colon(syntax, other) && begins_with(other.name, name)) return true;
    return behind_colon(syntax, label) && begins_with(name, other.name);
}

static std::string renamed(const std::string &text, std::vector<LabelEdit> edits, const std::string &name) {
    std::string result;
    size_t copied = 0;
    for (const LabelEdit &edit : edits) {
        result.append(text, copied, edit.begin - copied).append(name);
        copied = edit.end;
    }
    return result.append(text, copied);
}

// The lines, by number, in which the jumps go on.
static std::vector<size_t> landings(const std::string &text, const LabelMap &map) {
    const Lines lines(text);
    std::vector<size_t> numbers;
    for (const LabelMap::Jump &jump : map.jumps) numbers.push_back(jump.line ? lines.line(*jump.line) : 0);
    return numbers;
}

std::variant<std::vector<LabelEdit>, std::string> label_rename(const Syntax &syntax, const LabelMap &map,
                                                               const LabelMap::Label &label, const std::string &name) {
    if (!is_label_name(name)) return catalogue_format("not a name that a label can have: %s", name.c_str());
    for (const LabelMap::Label &other : map.labels)
        if (&other != &label && collides(syntax, label, other, name))
            return catalogue_format("there is a label %1$s: GOTO could not distinguish it from %2$s",
                                    other.name.c_str(), name.c_str());
    std::vector<LabelEdit> edits = {{label.begin, label.end}};
    for (const LabelMap::Jump *jump : map.jumpsTo(label)) edits.push_back({jump->begin, jump->end});
    std::sort(edits.begin(), edits.end(), [](const LabelEdit &a, const LabelEdit &b) { return a.begin < b.begin; });
    const Syntax after = syntax_read(renamed(syntax.text, edits, name));
    if (landings(syntax.text, map) != landings(after.text, LabelMap(after)))
        return catalogue_format("with a label %s a GOTO would go elsewhere", name.c_str());
    return edits;
}
