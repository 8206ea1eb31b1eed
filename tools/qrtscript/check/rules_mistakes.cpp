#include <algorithm>
#include <cctype>
#include <optional>
#include <string>

#include "language/grammar.tab.h"
#include "platform/catalogue.h"
#include "platform/common/nearest_name.h"
#include "platform/common/nocase.h"
#include "platform/terminal_text.h"
#include "tools/qrtscript/check/forms.h"
#include "tools/qrtscript/check/rules.h"

// The statement that a place lies in; null behind the last one.
static const Statement *statement_at(const Syntax &syntax, size_t place) {
    if (syntax.statements.empty()) return nullptr;
    const auto isBefore = [&](const Statement &one) { return syntax.end(one.tokens) <= place; };
    const auto found = std::partition_point(syntax.statements.begin(), syntax.statements.end(), isBefore);
    return found == syntax.statements.end() ? &syntax.statements.back() : &*found;
}

static bool has_lone_return(const Syntax &syntax, const Statement &statement) {
    const TokenRange body = syntax.body(statement);
    for (size_t token = body.first; token < body.end; ++token)
        if (syntax.tokens[token].kind == '\r') return true;
    return false;
}

// What could stand there, in a word or two; empty where the form of the statement says more.
static std::string unexpected(const Syntax &syntax, const Mistake &mistake) {
    const std::string piece = syntax.text.substr(mistake.place, mistake.length);
    if (mistake.length == 0 || piece == "\n" || piece == "\r") return catalogue_text("the line ends too early");
    return catalogue_format("unexpected %s", piece.c_str());
}

// The token before a place; null for the first.
static const Token *token_before(const Syntax &syntax, size_t place) {
    const auto isBefore = [&](const Token &one) { return one.begin < place; };
    const auto found = std::partition_point(syntax.tokens.begin(), syntax.tokens.end(), isBefore);
    return found == syntax.tokens.begin() ? nullptr : &found[-1];
}

static bool is_word(const Syntax &syntax, const Token &token) {
    const std::string_view written = syntax.spelling(token);
    const auto isLetter = [](char c) { return isalnum(static_cast<unsigned char>(c)) != 0 || c < 0; };
    return token.kind >= KW_WRITE && token.kind < WHOLELINE && token.kind != QUOTEDSTRING &&
           std::any_of(written.begin(), written.end(), isLetter);
}

// What the line needs where a word stands that should be in quotes; empty for any other mistake.
static std::string missing_quotes(const Syntax &syntax, const Mistake &mistake, int statement) {
    const Token *before = token_before(syntax, mistake.place);
    if (before == nullptr || mistake.length == 0) return "";
    const Token piece = {before[1].kind, mistake.place, mistake.place + mistake.length};
    if (!is_word(syntax, piece)) return "";
    const std::string name = "\"" + std::string(syntax.spelling(piece)) + "\"";
    if (before->kind == KW_OF) return catalogue_format("put the name in quotes: MEMBER OF %s", name.c_str());
    // A word, a blank, and another word.
    const bool takesText = statement == KW_WRITE || statement == KW_SET || statement == KW_IF;
    if (takesText && before->end < mistake.place && before->kind == STRING && is_word(syntax, *before))
        return catalogue_text("put a text of several words in quotes");
    return "";
}

static Finding unreadable(const Syntax &syntax, const Mistake &mistake, const Statement &statement) {
    const TokenRange body = syntax.body(statement);
    const TokenRange first = {body.first, std::min(body.first + 1, body.end)};
    const std::string keyword(syntax.spelling(first));
    const std::string_view form = statement_form(keyword);
    if (!form.empty()) {
        const std::string quotes = missing_quotes(syntax, mistake, syntax.keyword(statement)),
                          problem = unexpected(syntax, mistake);
        return finding_at("QS1001", mistake.place, mistake.length,
                          quotes.empty()
                              ? catalogue_format("%1$s; expected: %2$s", problem.c_str(), std::string(form).c_str())
                              : catalogue_format("%1$s: %2$s", problem.c_str(), quotes.c_str()));
    }
    // Of a sign no other one is a misspelling.
    const bool isWord = !first.empty() && is_word(syntax, syntax.tokens[first.first]);
    const std::string nearest(isWord ? nearest_name(keyword, statement_keywords()) : "");
    const size_t length = syntax.end(first) - syntax.begin(first);
    if (nearest.empty())
        return finding_at("QS1001", syntax.begin(first), length,
                          catalogue_format("no statement begins with %s", keyword.c_str()));
    return finding_at(
        "QS1001", syntax.begin(first), length,
        catalogue_format("no statement begins with %1$s; did you mean %2$s?", keyword.c_str(), nearest.c_str()));
}

// An IF that is for the next line, and no line comes.
static Finding without_rest(const Syntax &syntax, const Statement &statement) {
    const TokenRange body = syntax.body(statement);
    const std::string form(statement_form(syntax.spelling(syntax.tokens[body.first])));
    return finding_at(syntax, "QS1001", body,
                      catalogue_format("the script ends too early; expected: %s", form.c_str()));
}

constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

static bool has_mark(const Syntax &syntax) {
    return syntax.text.compare(0, byte_order_mark.size(), byte_order_mark) == 0;
}

// By its own mark, or as the signs of scripts are written in it.
static bool is_utf16(std::string_view text) {
    const std::string_view mark = text.substr(0, 2);
    const auto isNul = [&](size_t place) { return place < text.size() && text[place] == '\0'; };
    return mark == "\xFF\xFE" || mark == "\xFE\xFF" || (isNul(1) && isNul(3)) || (isNul(0) && isNul(2));
}

static Finding unread(const Syntax &syntax, size_t nul) {
    return finding_at("QS1018", nul, 1,
                      is_utf16(syntax.text)
                          ? catalogue_text("this is UTF-16, which a login reads up to its first NUL: save it as UTF-8")
                          : catalogue_text("there is a NUL here: nothing from here on is read"));
}

static Finding marked(const Mistake *mistake) {
    Finding finding = finding_at(
        "QS1025", 0, byte_order_mark.size(),
        mistake != nullptr
            ? catalogue_text("a byte order mark stands in front of this line, so that a login cannot read it")
            : catalogue_text("a byte order mark is part of this line"));
    finding.fix = {0, byte_order_mark.size(), ""};
    if (mistake == nullptr) finding.severity = Severity::warning; // which a login does not report
    return finding;
}

// Each line with such bytes once.
static void check_bytes(const Syntax &syntax, size_t end, Findings *findings) {
    const std::string_view text = std::string_view(syntax.text).substr(0, end);
    TerminalLetter letter;
    for (size_t at = 0; at < text.size(); at += letter.bytes.size()) {
        terminal_letter(text.substr(at), &letter);
        if (letter.valid) continue;
        findings->push_back(
            finding_at("QS1026", at, 1, catalogue_text("this byte is no UTF-8, and shows as another character")));
        at = std::min(text.find('\n', at), text.size() - 1);
        letter.bytes = text.substr(at, 1);
    }
}

static Finding cut_off(const Syntax &syntax, const Statement &statement) {
    const size_t nul = syntax.text.find('\0');
    if (nul != std::string::npos) {
        Finding finding = unread(syntax, nul);
        finding.severity = Severity::error; // the beginning of the line is reported
        return finding;
    }
    if (syntax.text.back() == '\n') return without_rest(syntax, statement);
    Finding finding = finding_at(syntax, "QS1016", syntax.body(statement),
                                 catalogue_text("the last line has no line end, so that it is not read"));
    finding.fix = {syntax.text.size(), syntax.text.size(), "\n"};
    return finding;
}

namespace {

// What a login skips behind the IFs that it cannot read.
class Skipped {
  public:
    explicit Skipped(const Syntax &syntax) : syntax_(syntax), lines_(syntax.text), ends_(syntax_part_ends(syntax)) {}
    // A message with what is skipped as well, if anything is.
    std::string added(const std::string &message, const Statement &statement) const;

  private:
    const Syntax &syntax_;
    const Lines lines_;
    const std::vector<size_t> ends_;
};

} // namespace

std::string Skipped::added(const std::string &message, const Statement &statement) const {
    const auto number = static_cast<size_t>(&statement - syntax_.statements.data());
    const size_t end = ends_[number];
    if (end == syntax_.statements.size())
        return catalogue_format("%s; everything behind it is skipped: there is no END", message.c_str());
    if (end == number + 1) return message;
    const Token &token = syntax_.tokens[syntax_.statements[end].tokens.first];
    std::string keyword(syntax_.spelling(token));
    std::transform(keyword.begin(), keyword.end(), keyword.begin(), upper_case);
    return catalogue_format("%1$s; everything up to %2$s in line %3$zu is skipped", message.c_str(), keyword.c_str(),
                            lines_.line(token.begin));
}

static Finding finding_of(const Syntax &syntax, const Mistake &mistake) {
    const Statement *statement = statement_at(syntax, mistake.place);
    if (mistake.reason == "Reserved words cannot be used as labels")
        return finding_at("QS1002", mistake.place, mistake.length,
                          catalogue_text("a reserved word is no label: this GOTO does not jump"));
    if (mistake.reason == "IF nested too deep")
        return finding_at("QS1004", mistake.place, mistake.length,
                          catalogue_text("more than 199 IFs inside one another: the whole block is skipped"));
    if (mistake.reason == "memory exhausted")
        return finding_at("QS1021", mistake.place, mistake.length,
                          catalogue_text("too many parts in one statement: the script ends here"));
    if (statement == nullptr) return finding_at("QS1001", mistake.place, mistake.length, mistake.reason);
    const bool isAtEnd = mistake.place >= std::min(syntax.text.find('\0'), syntax.text.size());
    if (isAtEnd) return cut_off(syntax, *statement);
    if (has_mark(syntax) && statement == &syntax.statements.front()) return marked(&mistake);
    if (has_lone_return(syntax, *statement))
        return finding_at(
            "QS1017", mistake.place, mistake.length,
            catalogue_text("the line before ends with a carriage return alone: a line end is LF or CR LF"));
    const TokenRange body = syntax.body(*statement);
    const bool isElse = syntax.keyword(*statement) == KW_ELSE;
    if (isElse && body.first + 1 < body.end && syntax.tokens[body.first + 1].kind == KW_IF)
        return finding_at(
            syntax, "QS1007", {body.first, body.first + 2},
            catalogue_text("ELSE IF is not read: put the IF on a line of its own, with an END of its own"));
    return unreadable(syntax, mistake, *statement);
}

void check_mistakes(const Syntax &syntax, Findings *findings) {
    std::optional<Skipped> skipped;
    for (const Mistake &mistake : syntax.mistakes) {
        findings->push_back(finding_of(syntax, mistake));
        Finding &finding = findings->back();
        finding.quotedLine = mistake.quotedLine;
        const Statement *statement = statement_at(syntax, mistake.place);
        if (statement == nullptr || statement->kind != Statement::Kind::if_broken) continue;
        if (std::string_view(finding.code->name) != "QS1001") continue;
        if (!skipped) skipped.emplace(syntax);
        finding.message = skipped->added(finding.message, *statement);
    }
    const size_t end = std::min(syntax.text.find('\0'), syntax.text.size());
    // Within a statement that has a mistake already the end is not reported again.
    const bool isTold = !syntax.mistakes.empty() && syntax.mistakes.back().place >= end;
    if (syntax.endsEarly && !isTold && !syntax.statements.empty())
        findings->push_back(cut_off(syntax, syntax.statements.back()));
    const auto has = [&](std::string_view code) {
        return std::any_of(findings->begin(), findings->end(),
                           [&](const Finding &finding) { return finding.code->name == code; });
    };
    if (end < syntax.text.size() && !has("QS1018")) findings->push_back(unread(syntax, end));
    if (has_mark(syntax) && !has("QS1025")) findings->push_back(marked(nullptr));
    if (!is_utf16(syntax.text)) check_bytes(syntax, end, findings);
}
