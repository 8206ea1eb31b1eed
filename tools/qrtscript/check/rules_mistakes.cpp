#include <algorithm>
#include <string>

#include "language/grammar.tab.h"
#include "platform/catalogue.h"
#include "platform/common/nearest_name.h"
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

static Finding unreadable(const Syntax &syntax, const Mistake &mistake, const Statement &statement) {
    const TokenRange body = syntax.body(statement);
    const TokenRange first = {body.first, std::min(body.first + 1, body.end)};
    const std::string keyword(syntax.spelling(first));
    const std::string_view form = statement_form(keyword);
    if (!form.empty())
        return finding_at(
            "QS1001", mistake.place, mistake.length,
            catalogue_format("%1$s; expected: %2$s", unexpected(syntax, mistake).c_str(), std::string(form).c_str()));
    const std::string nearest(nearest_name(keyword, statement_keywords()));
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

static Finding cut_off(const Syntax &syntax, const Statement &statement) {
    if (syntax.text.back() == '\n') return without_rest(syntax, statement);
    Finding finding = finding_at(syntax, "QS1016", syntax.body(statement),
                                 catalogue_text("the last line has no line end, so that it is not read"));
    finding.fix = {syntax.text.size(), syntax.text.size(), "\n"};
    return finding;
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
    if (mistake.place == syntax.text.size()) return cut_off(syntax, *statement);
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
    for (const Mistake &mistake : syntax.mistakes) {
        findings->push_back(finding_of(syntax, mistake));
        findings->back().quotedLine = mistake.quotedLine;
    }
    // Within a statement that has a mistake already the end is not reported again.
    const bool isTold = !syntax.mistakes.empty() && syntax.mistakes.back().place == syntax.text.size();
    if (syntax.endsEarly && !isTold && !syntax.statements.empty())
        findings->push_back(cut_off(syntax, syntax.statements.back()));
    if (syntax.unreadFrom && syntax.mistakes.empty())
        findings->push_back(finding_at("QS1018", *syntax.unreadFrom, 1,
                                       catalogue_text("there is a NUL before this: nothing from here on is read")));
}
