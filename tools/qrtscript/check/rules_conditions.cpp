// Traps of conditions and arithmetic.

#include <algorithm>
#include <iterator>
#include <string>

#include "language/grammar.tab.h"
#include "language/tokenizer.h"
#include "platform/catalogue.h"
#include "platform/common/nocase.h"
#include "tools/qrtscript/check/known_names.h"
#include "tools/qrtscript/check/references.h"
#include "tools/qrtscript/check/rules.h"

static bool is_member(const Phrase &phrase) {
    return phrase.kind == Phrase::Kind::member || phrase.kind == Phrase::Kind::not_member;
}

static void check_bare(const Syntax &syntax, const Condition &condition, Findings *findings) {
    if (is_member(syntax.phrases[condition.parts.front()])) return;
    findings->push_back(finding_at(syntax, "QS2005", condition.tokens,
                                   catalogue_text("a text without a comparison is true only if it is \"0\"")));
}

static void check_not_greater(const Syntax &syntax, const Condition &condition, Findings *findings) {
    if (!condition.numeric || condition.kind != Condition::Kind::not_greater) return;
    findings->push_back(
        finding_at(syntax, "QS2006", condition.tokens,
                   catalogue_text("with VALUE, <= is true only for equal numbers: write < ... OR VALUE ... =")));
}

static bool is_parenthesised(const Syntax &syntax, TokenRange tokens) {
    return tokens.first > 0 && syntax.tokens[tokens.first - 1].kind == '(';
}

static void check_grouping(const Syntax &syntax, const Condition &condition, Findings *findings) {
    const Condition &right = syntax.conditions[condition.parts[1]];
    if (!right.isCompound() || right.kind == condition.kind || is_parenthesised(syntax, right.tokens)) return;
    findings->push_back(
        finding_at(syntax, "QS2007", condition.tokens,
                   catalogue_text("AND, OR and NOR have no precedence and group to the right: use parentheses")));
}

// The name when a phrase is one quoted reference and nothing else.
static std::string quoted_name(const Syntax &syntax, const Phrase &phrase) {
    if (phrase.kind != Phrase::Kind::quoted) return "";
    const Phrase &token = quoted_token(syntax, phrase);
    const std::vector<ScriptReference> references = text_references(syntax, token);
    if (references.size() != 1 || references[0].isVariable) return "";
    return token.text.size() == references[0].name.size() + 1 ? references[0].name : "";
}

static bool is_nothing(const Syntax &syntax, const Phrase &phrase) {
    return phrase.kind == Phrase::Kind::empty ||
           (phrase.kind == Phrase::Kind::quoted && quoted_token(syntax, phrase).text.empty());
}

static void check_missing(const Syntax &syntax, const Phrase &asked, const Phrase &other, Findings *findings) {
    const std::string name = quoted_name(syntax, asked);
    if (name.empty() || !is_nothing(syntax, other) || !name_may_be_missing(name)) return;
    Finding finding = finding_at(
        syntax, "QS2008", asked.tokens,
        catalogue_format("in quotes a value that is missing stays %1$s and is never empty: write %1$s without quotes",
                         ("%" + name).c_str()));
    // What follows without a blank would become part of the name.
    const size_t end = syntax.end(asked.tokens);
    const bool goesOn =
        end < syntax.text.size() && !tokenizer_is_delimiter(static_cast<unsigned char>(syntax.text[end]));
    finding.fix = {syntax.begin(asked.tokens), end, "%" + name + (goesOn ? " " : "")};
    findings->push_back(std::move(finding));
}

namespace {

struct LocaleName {
    const char *name, *instead;
};

} // namespace

static void check_locale(const Syntax &syntax, const Condition &condition, Findings *findings) {
    static constexpr LocaleName names[] = {
        {"DAY_OF_WEEK", "NDAY_OF_WEEK"}, {"MONTH_NAME", "MONTH"}, {"AM_PM", "HOUR24"}};
    for (const size_t part : condition.parts) {
        const Phrase &phrase = syntax.phrases[part];
        std::vector<ScriptReference> references = references_in(syntax, part);
        if (phrase.kind == Phrase::Kind::word)
            references.push_back({std::string(syntax.spelling(phrase.tokens)), false, false, false, 0, 0});
        for (const ScriptReference &reference : references)
            for (const LocaleName &one : names)
                if (equal_nocase(one.name, reference.name))
                    findings->push_back(finding_at(
                        syntax, "QS2009", phrase.tokens,
                        catalogue_format("%1$s is in the language of each user: compare %2$s", one.name, one.instead)));
    }
}

// IF %NDAY_OF_WEEK = 2: the digit is the script's variable %2.
static void check_digit(const Syntax &syntax, size_t part, Findings *findings) {
    const Phrase &phrase = syntax.phrases[part];
    const std::string_view word = syntax.spelling(phrase.tokens);
    if (phrase.kind != Phrase::Kind::word || word.size() != 1 || word[0] < '0' || word[0] > '9') return;
    findings->push_back(
        finding_at(syntax, "QS2016", phrase.tokens,
                   catalogue_format("%1$s without quotes is the variable %2$s: write %3$s for the number",
                                    std::string(word).c_str(), ("%" + std::string(word)).c_str(),
                                    ("\"" + std::string(word) + "\"").c_str())));
}

namespace {

// An identifier whose value is a number.
struct NumberName {
    std::string_view name;
    size_t width; // of its digits; 0: it depends on the number
};

} // namespace

static const NumberName *number_name(const Syntax &syntax, const Phrase &phrase) {
    static constexpr NumberName names[] = {{"PASSWORD_EXPIRES", 0},
                                           {"STATION", 0},
                                           {"CONNECTION", 0},
                                           {"SLOT", 0},
                                           {"USER_ID", 0},
                                           {"USERID", 0},
                                           {"HOUR", 0},
                                           {"HOURS", 0},
                                           {"HOUR24", 2},
                                           {"HOURS24", 2},
                                           {"MINUTE", 2},
                                           {"MINUTES", 2},
                                           {"SECOND", 2},
                                           {"SECONDS", 2},
                                           {"MONTH", 2},
                                           {"DAY", 2},
                                           {"YEAR", 4},
                                           {"SHORT_YEAR", 2},
                                           {"NDAY_OF_WEEK", 1}};
    std::string name = quoted_name(syntax, phrase);
    if (phrase.kind == Phrase::Kind::word) name = syntax.spelling(phrase.tokens);
    if (phrase.kind == Phrase::Kind::identifier) name = syntax.spelling(syntax.phrases[phrase.parts.front()].tokens);
    for (const NumberName &one : names)
        if (equal_nocase(one.name, name)) return &one;
    return nullptr;
}

// The number that a quoted text is; empty for another phrase.
static std::string quoted_number(const Syntax &syntax, const Phrase &phrase) {
    if (phrase.kind != Phrase::Kind::quoted) return "";
    const std::string &text = quoted_token(syntax, phrase).text;
    return text.find_first_not_of("0123456789") == text.npos ? text : "";
}

// IF %PASSWORD_EXPIRES < "14": as texts 9 is behind 14.
static void check_text_numbers(const Syntax &syntax, const Condition &condition, const Phrase &asked,
                               const Phrase &other, Findings *findings) {
    const NumberName *name = number_name(syntax, asked);
    const std::string number = quoted_number(syntax, other);
    if (name == nullptr || number.empty() || condition.numeric || name->width == number.size()) return;
    const bool isOrder = condition.kind != Condition::Kind::equal && condition.kind != Condition::Kind::not_equal;
    if (isOrder)
        findings->push_back(finding_at(syntax, "QS2017", condition.tokens,
                                       catalogue_text("without VALUE numbers are compared as texts, in which 9 stands "
                                                      "behind 14: write IF VALUE")));
    else if (name->width != 0)
        findings->push_back(finding_at(
            syntax, "QS2017", condition.tokens,
            catalogue_format("the length of %1$s is %2$zu, so that it is never the text %3$s: write IF VALUE",
                             std::string(name->name).c_str(), name->width, ("\"" + number + "\"").c_str())));
}

static void check_comparison(const Syntax &syntax, const Condition &condition, Findings *findings) {
    check_not_greater(syntax, condition, findings);
    check_locale(syntax, condition, findings);
    const Phrase &left = syntax.phrases[condition.parts[0]], &right = syntax.phrases[condition.parts[1]];
    check_missing(syntax, left, right, findings);
    check_missing(syntax, right, left, findings);
    check_text_numbers(syntax, condition, left, right, findings);
    check_text_numbers(syntax, condition, right, left, findings);
    for (const size_t part : condition.parts) check_digit(syntax, part, findings);
}

// "10" - "3" - "2" is 10 - (3 - 2).
static void check_arithmetic(const Syntax &syntax, const Phrase &phrase, Findings *findings) {
    if (phrase.kind != Phrase::Kind::arithmetic) return;
    for (const size_t part : phrase.parts) check_digit(syntax, part, findings);
    const Phrase &right = syntax.phrases[phrase.parts[1]];
    const bool otherwise = right.kind == Phrase::Kind::arithmetic &&
                           (phrase.operation != '+' || right.operation == '\0') &&
                           !(phrase.operation == '*' && right.operation == '*');
    const bool joins = right.kind == Phrase::Kind::join && !is_parenthesised(syntax, right.tokens);
    if (otherwise)
        findings->push_back(
            finding_at(syntax, "QS2007", phrase.tokens,
                       catalogue_text("calculations have no precedence and group to the right: a - b - c "
                                      "is a - (b - c)")));
    else if (joins)
        findings->push_back(
            finding_at(syntax, "QS2007", phrase.tokens,
                       catalogue_text("what ; joins behind a calculation becomes part of its last number: "
                                      "put the calculation last")));
}

static void check_condition(const Syntax &syntax, size_t number, Findings *findings) {
    const Condition &condition = syntax.conditions[number];
    if (condition.isCompound()) {
        check_grouping(syntax, condition, findings);
        for (const size_t part : condition.parts) check_condition(syntax, part, findings);
    } else if (condition.kind == Condition::Kind::bare) {
        check_bare(syntax, condition, findings);
    } else {
        check_comparison(syntax, condition, findings);
    }
}

void check_conditions(const Syntax &syntax, Findings *findings) {
    for (const Statement &statement : syntax.statements) {
        visit_statement(syntax, statement, [&](const Phrase &phrase) { check_arithmetic(syntax, phrase, findings); });
        if (statement.kind == Statement::Kind::set) check_digit(syntax, statement.operands[1], findings);
        if (statement.kind == Statement::Kind::if_block || statement.kind == Statement::Kind::if_one)
            check_condition(syntax, statement.condition, findings);
    }
}
