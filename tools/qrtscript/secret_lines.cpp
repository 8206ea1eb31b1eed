#include "tools/qrtscript/secret_lines.h"

#include <algorithm>

#include "platform/common/nearest_name.h"
#include "platform/common/nocase.h"
#include "tools/qrtscript/secret_names.h"

static bool is_word_letter(char c) {
    return (c >= '0' && c <= '9') || (lower_case(c) >= 'a' && lower_case(c) <= 'z') || c == '_';
}

std::string_view secret_word(std::string_view line, size_t at) {
    size_t end = at;
    while (end < line.size() && is_word_letter(line[end])) ++end;
    return line.substr(at, end - at);
}

namespace {

// The words of a line, one after the other.
class Words {
  public:
    explicit Words(std::string_view line, size_t from = 0) : line_(line), next_(from) {}
    // False at the line's end.
    bool next() {
        while (next_ < line_.size() && !is_word_letter(line_[next_])) ++next_;
        begin = next_;
        word = secret_word(line_, begin);
        next_ = begin + word.size();
        return !word.empty();
    }
    size_t end() const { return next_; }
    bool is(std::string_view keyword) const { return equal_nocase(word, keyword); }
    size_t begin = 0;
    std::string_view word;

  private:
    std::string_view line_;
    size_t next_;
};

} // namespace

static size_t behind_blanks(std::string_view line, size_t at) {
    return std::min(line.find_first_not_of(" \t", at), line.size());
}

std::vector<size_t> secret_statement_starts(std::string_view line) {
    std::vector<size_t> starts = {behind_blanks(line, 0)};
    for (Words words(line); words.next();)
        if (words.is("THEN")) starts.push_back(behind_blanks(line, words.end()));
    return starts;
}

// ---- TREE and ATTACH ----

// Where a word that a password may follow ends; npos without one.
static size_t behind_keyword(std::string_view line) {
    for (Words words(line); words.next();)
        if (words.is("TREE") || words.is("ATTACH")) return words.end();
    return line.npos;
}

// The first word of the statement is nearly TREE or ATTACH, or names of a tree and a user follow.
static bool may_be_mistyped(std::string_view statement) {
    const std::string_view word = secret_word(statement, 0);
    if (!nearest_name(word, {"TREE", "ATTACH"}).empty()) return true;
    const size_t slash = statement.find('/'), sign = statement.find(';');
    return !word.empty() && sign != statement.npos && slash < sign && slash > 0 && is_word_letter(statement[slash - 1]);
}

static size_t password_of_login(std::string_view line, bool isUnread) {
    size_t from = behind_keyword(line);
    if (isUnread)
        for (const size_t start : secret_statement_starts(line))
            if (may_be_mistyped(line.substr(start))) from = std::min(from, start);
    if (from == line.npos) return line.npos;
    size_t sign = line.find(';', from);
    // What makes a line unreadable may be another sign in the place of the ";", behind the names of a tree and a user.
    const size_t slash = isUnread ? line.find_first_of("/\\", from) : line.npos;
    if (slash != line.npos) sign = std::min(sign, line.find_first_of(":,|&!#?", slash));
    return sign == line.npos ? line.npos : sign + 1;
}

// ---- variables ----

static size_t behind_equals(std::string_view line, size_t at) {
    at = std::min(line.find_first_not_of(" \t\"'", at), line.size());
    return at < line.size() && line[at] == '=' ? at + 1 : line.npos;
}

// The value in a SET statement that begins there: behind the name, also where the sign is missing.
static size_t value_of_set(std::string_view line, size_t start, bool isUnread) {
    Words words(line, start);
    bool isFound = words.next() && words.begin == start;
    while (isFound && (words.is("DOS") || words.is("TEMP") || words.is("LOCAL"))) isFound = words.next();
    if (!isFound || !(words.is("SET") || (isUnread && !nearest_name(words.word, {"SET"}).empty()))) return line.npos;
    const size_t sign = line.find('=', words.end());
    while (words.next() && words.begin < sign) {
        if (!secret_name(words.word)) continue;
        const size_t equals = behind_equals(line, words.end());
        return equals != line.npos ? equals : words.end();
    }
    return line.npos;
}

// NAME=value in a command, or in a line that only wants its SET.
static size_t value_of_assignment(std::string_view line, size_t start) {
    for (Words words(line, start); words.next();) {
        const size_t equals = secret_name(words.word) ? behind_equals(line, words.end()) : line.npos;
        if (equals != line.npos) return equals;
    }
    return line.npos;
}

static size_t value_of_variable(std::string_view line, bool isUnread) {
    size_t from = line.npos;
    for (const size_t start : secret_statement_starts(line)) {
        from = std::min(from, value_of_set(line, start, isUnread));
        const bool isProgram = start < line.size() && (line[start] == '#' || line[start] == '@');
        if (isUnread || isProgram) from = std::min(from, value_of_assignment(line, start));
    }
    return from;
}

// ---- conditions ----

static bool refers_to_secret(std::string_view condition) {
    for (Words words(condition); words.next();) {
        const char before = words.begin > 0 ? condition[words.begin - 1] : ' ';
        if ((before == '%' || before == '<') && secret_name(words.word)) return true;
    }
    return false;
}

// What may be compared with the secret: another quoted text, a word behind a sign, a number.
static void add_literals(std::string_view line, size_t at, size_t end, std::vector<SecretPart> *parts) {
    bool isBehindSign = false;
    while (at < end) {
        const char c = line[at];
        const size_t quote = c == '"' ? std::min(line.find('"', at + 1), end) : at;
        const std::string_view word = secret_word(line.substr(0, end), at);
        if (c == '"') {
            const std::string_view text = line.substr(at + 1, quote - at - 1);
            if (!text.empty() && !refers_to_secret(text)) parts->push_back({at + 1, quote, false});
            at = quote + 1;
        } else if (!word.empty()) {
            const size_t behind = at + word.size();
            const bool isReference =
                line[at - 1] == '%' || (line[at - 1] == '<' && behind < line.size() && line[behind] == '>');
            if (!isReference && (isBehindSign || (c >= '0' && c <= '9'))) parts->push_back({at, behind, false});
            at = behind;
        } else {
            ++at;
        }
        isBehindSign = c == '=' || c == '<' || c == '>' || (isBehindSign && (c == ' ' || c == '\t'));
    }
}

static void add_conditions(std::string_view line, std::vector<SecretPart> *parts) {
    for (const size_t start : secret_statement_starts(line)) {
        Words words(line, start);
        if (!words.next() || words.begin != start || !words.is("IF")) continue;
        const size_t from = words.end();
        bool isEnded = false;
        while (!isEnded && words.next()) isEnded = words.is("THEN");
        const size_t end = isEnded ? words.begin : line.size();
        if (refers_to_secret(line.substr(from, end - from))) add_literals(line, from, end, parts);
    }
}

// ---- all of them ----

std::vector<SecretPart> secret_parts(std::string_view line, bool isUnread) {
    std::vector<SecretPart> parts;
    const size_t from = std::min(password_of_login(line, isUnread), value_of_variable(line, isUnread));
    add_conditions(line.substr(0, from), &parts);
    if (from < line.size()) parts.push_back({from, line.size(), true});
    return parts;
}
