#include "tools/qrtscript/check/format.h"

#include <algorithm>

#include "language/grammar.tab.h"
#include "platform/common/nocase.h"
#include "script/labels.h"
#include "tools/qrtscript/check/keyword_places.h"

namespace {

class Formatter {
  public:
    Formatter(const Syntax &syntax, const FormatOptions &options);
    std::string text() const;

  private:
    void findLines();
    void findLevels();
    void freezeMistakes();
    void freezeQuotable(size_t line);
    void freezeJumps();
    void freezeEnd();
    void freezeLostBackslashes();
    void freeze(size_t line) {
        if (line < frozen_.size()) frozen_[line] = true;
    }

    bool isBlank(size_t line) const;
    size_t linesKept() const;
    size_t lineOf(size_t place) const;
    std::string_view lineText(size_t line) const;
    std::string_view leading(size_t line) const;
    void addLine(size_t line, std::string *text) const;
    void addToken(size_t token, std::string *text) const;

    const Syntax &syntax_;
    const FormatOptions &options_;
    const std::vector<bool> keywords_;
    const size_t end_;                // the first NUL; npos without one
    std::vector<size_t> starts_;      // of the lines; counted from 0
    std::vector<size_t> firstTokens_; // of each line, and behind the last one
    std::vector<size_t> levels_;
    std::vector<bool> frozen_; // lines that stay as they are
    bool keepsReturns_ = false;
};

} // namespace

// A text of nothing but IFs must not become a thousand times as long.
constexpr size_t deepest_shown = 64;

static bool is_line_end(int kind) {
    return kind == '\n' || kind == '\r';
}

Formatter::Formatter(const Syntax &syntax, const FormatOptions &options)
    : syntax_(syntax), options_(options), keywords_(keyword_places(syntax)), end_(syntax.text.find('\0')) {
    findLines();
    findLevels();
    freezeMistakes();
    freezeJumps();
    freezeLostBackslashes();
    freezeEnd();
}

void Formatter::findLines() {
    const std::string &text = syntax_.text;
    for (size_t start = 0; start < text.size(); start = std::min(text.find('\n', start), text.size() - 1) + 1)
        starts_.push_back(start);
    size_t token = 0;
    for (const size_t start : starts_) {
        while (token < syntax_.tokens.size() && syntax_.tokens[token].begin < start) ++token;
        firstTokens_.push_back(token);
    }
    firstTokens_.push_back(syntax_.tokens.size());
    levels_.assign(starts_.size(), 0);
    frozen_.assign(starts_.size(), false);
}

size_t Formatter::lineOf(size_t place) const {
    const auto behind = std::upper_bound(starts_.begin(), starts_.end(), place);
    return static_cast<size_t>(behind - starts_.begin()) - (behind == starts_.begin() ? 0 : 1);
}

std::string_view Formatter::lineText(size_t line) const {
    const size_t end = line + 1 < starts_.size() ? starts_[line + 1] : syntax_.text.size();
    return std::string_view(syntax_.text).substr(starts_[line], end - starts_[line]);
}

void Formatter::findLevels() {
    size_t depth = 0, singles = 0; // singles: IFs that the next statement is the only one of
    for (const Statement &statement : syntax_.statements) {
        if (statement.tokens.empty()) continue;
        const bool closes = statement.kind == Statement::Kind::end || statement.kind == Statement::Kind::otherwise;
        const size_t line = lineOf(syntax_.begin(statement.tokens));
        if (firstTokens_[line] == statement.tokens.first) levels_[line] = depth - (closes && depth > 0 ? 1 : 0);
        if (statement.kind == Statement::Kind::if_one) {
            ++singles;
            ++depth;
            continue;
        }
        if (statement.kind == Statement::Kind::if_block || statement.kind == Statement::Kind::if_broken) ++depth;
        if (statement.kind == Statement::Kind::end && depth > 0) --depth;
        depth -= std::min(depth, singles);
        singles = 0;
    }
}

// A login may quote the line behind the mistake, or, when there is nothing in its own but its end, the last line before
// it that is not empty. Behind a NUL there is nothing.
void Formatter::freezeQuotable(size_t line) {
    const auto isEmpty = [&](size_t one) {
        const size_t first = syntax_.text.find_first_not_of("\r\n", starts_[one]);
        return first >= std::min(end_, starts_[one] + lineText(one).size());
    };
    if (starts_.empty()) return;
    size_t first = line;
    while (first > 0 && isEmpty(first) && !frozen_[first - 1]) freeze(--first);
    freeze(line);
    freeze(line + 1);
}

// Which of several mistakes a login reports depends on how many tokens lie between them, carriage returns included.
void Formatter::freezeMistakes() {
    keepsReturns_ = !syntax_.mistakes.empty();
    for (const Mistake &mistake : syntax_.mistakes) freezeQuotable(lineOf(mistake.place));
    for (const Statement &statement : syntax_.statements) {
        if (statement.kind != Statement::Kind::broken && statement.kind != Statement::Kind::if_broken) continue;
        if (statement.tokens.empty()) continue;
        const size_t last = lineOf(syntax_.tokens[statement.tokens.end - 1].begin);
        for (size_t line = lineOf(syntax_.begin(statement.tokens)); line <= last; ++line) freezeQuotable(line);
    }
}

static std::string label_of(const Syntax &syntax, const Statement &jump) {
    const TokenRange tokens = syntax.phrases[jump.operands.front()].tokens;
    std::string name;
    for (size_t token = tokens.first; token < tokens.end; ++token) name += syntax.spelling(syntax.tokens[token]);
    return name;
}

// A jump may go into the middle of a line, which is then read in another way than here.
void Formatter::freezeJumps() {
    labels_forget();
    for (const Statement &statement : syntax_.statements) {
        if (statement.kind != Statement::Kind::go_to) continue;
        const std::optional<int32_t> place = labels_find(syntax_.text, label_of(syntax_, statement));
        if (!place) continue;
        const size_t behind = static_cast<size_t>(*place), line = lineOf(behind - 1);
        const std::string_view rest = lineText(line).substr(behind - starts_[line]);
        if (rest.find_first_not_of(" \t\r\n") == rest.npos) continue;
        freeze(line);
        freeze(line + 1);
        keepsReturns_ = true;
    }
    labels_forget();
}

// A backslash at the end of a text that is not closed stands for the character behind it, which is the line end's.
void Formatter::freezeLostBackslashes() {
    for (const Token &token : syntax_.tokens)
        if (token.kind == QUOTEDSTRING && syntax_.text.compare(token.end - 1, 2, "\\\r") == 0)
            freeze(lineOf(token.begin));
}

void Formatter::freezeEnd() {
    if (starts_.empty()) return;
    if (syntax_.unreadFrom)
        for (size_t line = lineOf(std::max<size_t>(*syntax_.unreadFrom, 1) - 1); line < starts_.size(); ++line)
            freeze(line);
    const size_t last = starts_.size() - 1;
    if (syntax_.text.back() != '\n' && (last == 0 || firstTokens_[last] < firstTokens_[last + 1])) freeze(last);
}

// What stays in front of a line's first token because the line's beginning is searched, for labels and for the name
// that may be written in two words, which is not looked for in a line's first character.
static bool must_stay(std::string_view content) {
    constexpr std::string_view endsLabel = " \t\r\n:;\\/\"#@%+()!=<>", home = "home directory";
    const size_t end = content.find_first_of(endsLabel);
    if (end != content.npos && content[end] == ':') return true;
    const bool sign = content.front() == '%' || content.front() == ';';
    return sign && equal_nocase(content.substr(1, home.size()), home);
}

std::string_view Formatter::leading(size_t line) const {
    const std::string_view text = lineText(line);
    return text.substr(0, text.find_first_not_of(" \t"));
}

void Formatter::addToken(size_t token, std::string *text) const {
    const std::string_view spelling = syntax_.spelling(syntax_.tokens[token]);
    if (keywords_[token])
        std::transform(spelling.begin(), spelling.end(), std::back_inserter(*text), upper_case);
    else
        *text += spelling;
}

void Formatter::addLine(size_t line, std::string *text) const {
    if (frozen_[line]) {
        *text += lineText(line);
        return;
    }
    const size_t first = firstTokens_[line], end = firstTokens_[line + 1];
    for (size_t token = first; token < end; ++token) {
        const Token &one = syntax_.tokens[token];
        const bool ends = is_line_end(one.kind);
        if (one.kind == '\r' && !keepsReturns_) continue;
        if (token > first && !ends)
            *text += std::string_view(syntax_.text)
                         .substr(syntax_.tokens[token - 1].end, one.begin - syntax_.tokens[token - 1].end);
        else if (!ends && must_stay(lineText(line).substr(one.begin - starts_[line])))
            *text += leading(line);
        else if (!ends)
            text->append(std::min(levels_[line], deepest_shown) * options_.indentation, ' ');
        addToken(token, text);
    }
}

bool Formatter::isBlank(size_t line) const {
    for (size_t token = firstTokens_[line]; token < firstTokens_[line + 1]; ++token)
        if (!is_line_end(syntax_.tokens[token].kind)) return false;
    return true;
}

// Without the empty lines at the end, but for the one that an IF needs behind it, and one of a script of nothing else:
// a script that is empty is none.
size_t Formatter::linesKept() const {
    size_t count = starts_.size();
    if (keepsReturns_) return count;
    const auto isStatement = [&](size_t line) {
        const auto isBefore = [&](const Statement &one) { return one.tokens.first < firstTokens_[line]; };
        const auto found = std::partition_point(syntax_.statements.begin(), syntax_.statements.end(), isBefore);
        return found != syntax_.statements.end() && found->tokens.first == firstTokens_[line] &&
               found->kind == Statement::Kind::blank;
    };
    while (count > 1 && !frozen_[count - 1] && isBlank(count - 1) &&
           (firstTokens_[count - 1] == firstTokens_[count] || isStatement(count - 1)))
        --count;
    return count;
}

std::string Formatter::text() const {
    std::string text;
    text.reserve(syntax_.text.size());
    const size_t count = linesKept();
    for (size_t line = 0; line < count; ++line) addLine(line, &text);
    return text;
}

std::string script_formatted(const Syntax &syntax, const FormatOptions &options) {
    return Formatter(syntax, options).text();
}
