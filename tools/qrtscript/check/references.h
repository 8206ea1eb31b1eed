// The references to identifiers and variables in the operands of a script, with where they stand in its text.
#ifndef TOOLS_QRTSCRIPT_CHECK_REFERENCES_H
#define TOOLS_QRTSCRIPT_CHECK_REFERENCES_H

#include <string>
#include <vector>

#include "tools/qrtscript/check/syntax.h"

struct ScriptReference {
    std::string name;     // without its signs
    bool isVariable;      // %<NAME>
    bool inText;          // inside of a quoted text or a whole line
    bool behindQuote;     // the sign before it is a quote, which becomes part of the name
    size_t place, length; // in the script's text, with its "%"
};

// Those of a quoted text or a whole line, by its token phrase.
std::vector<ScriptReference> text_references(const Syntax &syntax, const Phrase &token);

// Those of a phrase and all its parts. Bare words are none.
std::vector<ScriptReference> references_in(const Syntax &syntax, size_t phrase);

// Calls `visit` for a phrase and all its parts, from the outside in.
template <typename Visitor>
void visit_phrases(const Syntax &syntax, size_t phrase, const Visitor &visit) {
    visit(syntax.phrases[phrase]);
    for (const size_t part : syntax.phrases[phrase].parts) visit_phrases(syntax, part, visit);
}

// The same for the phrases of a condition, of the conditions that it consists of included.
template <typename Visitor>
void visit_condition(const Syntax &syntax, size_t condition, const Visitor &visit) {
    const Condition &one = syntax.conditions[condition];
    for (const size_t part : one.parts)
        if (one.isCompound())
            visit_condition(syntax, part, visit);
        else
            visit_phrases(syntax, part, visit);
}

// For all phrases of a statement: its operands, and the condition of an IF.
template <typename Visitor>
void visit_statement(const Syntax &syntax, const Statement &statement, const Visitor &visit) {
    for (const size_t operand : statement.operands) visit_phrases(syntax, operand, visit);
    if (statement.kind == Statement::Kind::if_block || statement.kind == Statement::Kind::if_one)
        visit_condition(syntax, statement.condition, visit);
}

// The references of all phrases of a statement.
std::vector<ScriptReference> statement_references(const Syntax &syntax, const Statement &statement);

// The part of a quoted phrase that is its token.
const Phrase &quoted_token(const Syntax &syntax, const Phrase &quoted);

#endif
