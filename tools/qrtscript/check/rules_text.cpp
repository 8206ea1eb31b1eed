// Traps of quoted texts, words and references.

#include <algorithm>
#include <string>

#include "language/grammar.tab.h"
#include "platform/catalogue.h"
#include "tools/qrtscript/check/known_names.h"
#include "tools/qrtscript/check/references.h"
#include "tools/qrtscript/check/rules.h"

static bool is_name_sign(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// "%SURNAME!": the sign becomes part of the name, which nobody knows.
static void check_name_end(const ScriptReference &reference, bool isQuoted, Findings *findings) {
    if (reference.isVariable || reference.behindQuote) return;
    const auto end = std::find_if_not(reference.name.begin(), reference.name.end(), is_name_sign);
    const std::string name(reference.name.begin(), end);
    if (end == reference.name.end() || name_is_known(reference.name) || !name_is_known(name)) return;
    if (name.size() == 1) return; // "%s\n" is a printf's
    const std::string sign = reference.name.substr(name.size(), 1);
    if (!isQuoted) {
        findings->push_back(finding_at(
            "QS2001", reference.place, reference.length,
            catalogue_format("the sign behind %s does not end the name here, so that it stays as it is: a blank does",
                             name.c_str())));
        return;
    }
    const bool isCharacter = static_cast<unsigned char>(sign[0]) < 0x80;
    findings->push_back(finding_at(
        "QS2001", reference.place, reference.length,
        isCharacter
            ? catalogue_format("%1$s does not end the name %2$s, so that it stays in the text: write \" ; %%%2$s ; \"",
                               sign.c_str(), name.c_str())
            : catalogue_format("the sign behind %1$s does not end the name, so that it stays in the text: write "
                               "\" ; %%%1$s ; \"",
                               name.c_str())));
}

// \"%NAME\" in a text, or "%NAME" in a whole line.
static void check_quote_before(const ScriptReference &reference, Findings *findings) {
    if (!reference.inText || !reference.behindQuote) return;
    findings->push_back(
        finding_at("QS2002", reference.place - 1, reference.length + 1,
                   catalogue_format("a quote in front of %s takes the rest of the text with it, which is lost",
                                    ("%" + reference.name).c_str())));
}

static void check_open_quotes(const Syntax &syntax, Findings *findings) {
    for (const Token &token : syntax.tokens) {
        if (token.kind != QUOTEDSTRING) continue;
        const std::string_view written = syntax.spelling(token);
        size_t backslashes = 0;
        while (written.size() > 1 + backslashes && written[written.size() - 2 - backslashes] == '\\') ++backslashes;
        const bool closed = written.size() > 1 && written.back() == '"' && backslashes % 2 == 0;
        if (closed) continue;
        Finding finding = finding_at("QS2011", token.begin, token.end - token.begin,
                                     catalogue_text("this quote is not closed: the text ends with its line"));
        if (written.back() != '\\') finding.fix = {token.end, token.end, "\""};
        findings->push_back(std::move(finding));
    }
}

static bool is_escape(char c) {
    return c == 'n' || c == 'r' || c == '7';
}

static bool is_alphanumeric(char c) {
    return c != '_' && is_name_sign(c);
}

// "F:\new\users": the first sign that begins with a backslash in what is otherwise a path; npos without one. A path has
// a backslash that begins no sign; in a SET it may also be known by its drive.
static size_t escape_in_path(std::string_view word, bool isSet) {
    size_t escape = word.npos;
    bool isPath = false;
    for (size_t at = word.find('\\'); at != word.npos && at + 1 < word.size(); at = word.find('\\', at)) {
        const char next = word[at + 1];
        const bool isEscape = is_escape(next) && at + 2 < word.size() && is_alphanumeric(word[at + 2]);
        const bool isDrive = at > 1 && word[at - 1] == ':' && is_alphanumeric(word[at - 2]);
        if (isEscape && escape == word.npos) escape = at;
        isPath = isPath || (isEscape && isSet && isDrive) || (is_alphanumeric(next) && !is_escape(next));
        at += 2;
    }
    return isPath ? escape : word.npos;
}

static void check_paths(const Syntax &syntax, const Statement &statement, Findings *findings) {
    const bool isSet = statement.kind == Statement::Kind::set;
    for (size_t number = statement.tokens.first; number < statement.tokens.end; ++number) {
        const Token &token = syntax.tokens[number];
        if (token.kind != QUOTEDSTRING) continue;
        const std::string_view written = syntax.spelling(token);
        for (size_t start = 0; start < written.size();) {
            const size_t end = std::min(written.find_first_of(" \t", start), written.size());
            const size_t escape = escape_in_path(written.substr(start, end - start), isSet);
            if (escape != written.npos)
                findings->push_back(
                    finding_at("QS2018", token.begin + start + escape, 2,
                               catalogue_format("%1$s is a control character here: write \\%1$s or / for a path",
                                                std::string(written.substr(start + escape, 2)).c_str())));
            start = end + 1;
        }
    }
}

static void check_joined_homes(const Syntax &syntax, Findings *findings) {
    for (const size_t place : syntax.joinedHomes) {
        Finding finding = finding_at(
            "QS2015", place, 1, catalogue_text("only this name may be written with a blank: write HOME_DIRECTORY"));
        finding.fix = {place, place + 1, "_"};
        findings->push_back(std::move(finding));
    }
}

static void check_bare_word(const Syntax &syntax, const Phrase &phrase, Findings *findings) {
    if (phrase.kind != Phrase::Kind::word || phrase.tokens.empty()) return;
    const std::string word(syntax.spelling(phrase.tokens));
    if (name_is_known(word)) return;
    findings->push_back(
        finding_at(syntax, "QS2010", phrase.tokens,
                   catalogue_format("%1$s is no identifier, and stands for %2$s: quote a text that is meant as it is",
                                    word.c_str(), ("%" + word).c_str())));
}

// SET X = "50%" ; UNIT: the value is read for references once more.
static void check_set_twice(const Syntax &syntax, const Statement &statement, Findings *findings) {
    if (statement.kind != Statement::Kind::set) return;
    const Phrase &value = syntax.phrases[statement.operands[1]];
    if (value.kind != Phrase::Kind::join) return;
    visit_phrases(syntax, statement.operands[1], [&](const Phrase &phrase) {
        if (phrase.kind != Phrase::Kind::quoted) return;
        const std::string &text = quoted_token(syntax, phrase).text;
        if (text.empty() || text.back() != '%' || syntax.end(phrase.tokens) >= syntax.end(value.tokens)) return;
        findings->push_back(finding_at(
            syntax, "QS2012", phrase.tokens,
            catalogue_text(
                "SET replaces identifiers in the whole value once more: this percent sign joins with what follows")));
    });
}

// MAP, PATH, programs, and the names of files.
static bool has_whole_line(const Syntax &syntax, const Statement &statement) {
    const auto isLine = [&](size_t token) { return syntax.tokens[token].kind == WHOLELINE; };
    for (size_t token = statement.tokens.first; token < statement.tokens.end; ++token)
        if (isLine(token)) return true;
    return false;
}

void check_text(const Syntax &syntax, Findings *findings) {
    check_open_quotes(syntax, findings);
    check_joined_homes(syntax, findings);
    for (const Statement &statement : syntax.statements) {
        visit_statement(syntax, statement, [&](const Phrase &phrase) { check_bare_word(syntax, phrase, findings); });
        check_set_twice(syntax, statement, findings);
        check_paths(syntax, statement, findings);
        const bool isLine = has_whole_line(syntax, statement);
        for (const ScriptReference &reference : statement_references(syntax, statement)) {
            check_name_end(reference, reference.inText && !isLine, findings);
            check_quote_before(reference, findings);
        }
    }
}
