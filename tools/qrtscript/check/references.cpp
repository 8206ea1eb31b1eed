#include "tools/qrtscript/check/references.h"

#include "directory/reference.h"
#include "language/grammar.tab.h"

const Phrase &quoted_token(const Syntax &syntax, const Phrase &quoted) {
    return syntax.phrases[quoted.parts.front()];
}

// For each byte of a quoted text as it is read, where it stands in the script; and one place more, for its end.
static std::vector<size_t> places_of(const Syntax &syntax, const Phrase &token) {
    const Token &one = syntax.tokens[token.tokens.first];
    const bool isQuoted = one.kind == QUOTEDSTRING;
    std::vector<size_t> places;
    size_t at = one.begin + (isQuoted ? 1 : 0);
    while (places.size() < token.text.size()) {
        places.push_back(at);
        const bool isEscape = isQuoted && syntax.text[at] == '\\' && syntax.text[at] != token.text[places.size() - 1];
        const bool isDoubled = isQuoted && syntax.text.compare(at, 2, "\\\\") == 0;
        at += isEscape || isDoubled ? 2 : 1;
    }
    places.push_back(at);
    return places;
}

std::vector<ScriptReference> text_references(const Syntax &syntax, const Phrase &token) {
    std::vector<ScriptReference> found;
    if (token.text.find('%') == std::string::npos) return found;
    const std::vector<size_t> places = places_of(syntax, token);
    const std::string_view text = token.text;
    for (size_t at = text.find('%'); at != text.npos; at = text.find('%', at + 1)) {
        const std::string_view rest = text.substr(at);
        if (reference_is_without_name(rest)) continue;
        const Reference one = reference_parse(rest);
        ScriptReference reference = {
            std::string(one.name),         one.isVariable, true,
            at > 0 && text[at - 1] == '"', places[at],     places[at + one.replaced.size()] - places[at]};
        if (one.isVariable) reference.name.erase(0, 1);
        if (one.isVariable && !reference.name.empty() && reference.name.back() == '>') reference.name.pop_back();
        found.push_back(std::move(reference));
    }
    return found;
}

static std::string joined(const Syntax &syntax, TokenRange tokens) {
    std::string text;
    for (size_t token = tokens.first; token < tokens.end; ++token) text += syntax.spelling(syntax.tokens[token]);
    return text;
}

std::vector<ScriptReference> references_in(const Syntax &syntax, size_t phrase) {
    std::vector<ScriptReference> found;
    visit_phrases(syntax, phrase, [&](const Phrase &one) {
        const bool isName = one.kind == Phrase::Kind::identifier || one.kind == Phrase::Kind::environment;
        if (isName) {
            const size_t begin = syntax.begin(one.tokens);
            const bool isVariable = one.kind == Phrase::Kind::environment;
            found.push_back({joined(syntax, syntax.phrases[one.parts.front()].tokens), isVariable, false, false, begin,
                             syntax.end(one.tokens) - begin});
        } else if (one.kind == Phrase::Kind::token && !one.tokens.empty()) {
            const int kind = syntax.tokens[one.tokens.first].kind;
            if (kind != QUOTEDSTRING && kind != WHOLELINE) return;
            for (ScriptReference &reference : text_references(syntax, one)) found.push_back(std::move(reference));
        }
    });
    return found;
}

static std::vector<size_t> condition_phrases(const Syntax &syntax, size_t condition) {
    const Condition &one = syntax.conditions[condition];
    if (!one.isCompound()) return one.parts;
    std::vector<size_t> phrases;
    for (const size_t part : one.parts)
        for (const size_t phrase : condition_phrases(syntax, part)) phrases.push_back(phrase);
    return phrases;
}

std::vector<ScriptReference> statement_references(const Syntax &syntax, const Statement &statement) {
    std::vector<ScriptReference> found;
    const auto add = [&](size_t phrase) {
        for (ScriptReference &one : references_in(syntax, phrase)) found.push_back(std::move(one));
    };
    for (const size_t operand : statement.operands) add(operand);
    if (statement.kind == Statement::Kind::if_block || statement.kind == Statement::Kind::if_one)
        for (const size_t phrase : condition_phrases(syntax, statement.condition)) add(phrase);
    return found;
}
