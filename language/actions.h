// Everything that the grammar's actions call: a complete list of what a script can do. A tool that wants to do
// something else with a script links the same grammar and tokenizer with its own functions of these names.
#ifndef LANGUAGE_ACTIONS_H
#define LANGUAGE_ACTIONS_H

#include <utility>

#include "base/text.h"
#include "commands/drive.h"
#include "commands/environment.h"
#include "commands/file_spec.h"
#include "commands/include.h"
#include "commands/print.h"
#include "commands/program.h"
#include "commands/session_statements.h"
#include "language/control_flow.h"
#include "language/phrases.h"
#include "script/conditions.h"
#include "script/parser.h"
#include "script/syntax_error.h"

// Takes the text out of a slot of the parser's value stack.
inline OwnedText own(char *&slot) {
    OwnedText text(slot);
    slot = nullptr;
    return text;
}

inline SecretText own_secret(char *&slot) {
    return SecretText(own(slot).release());
}

// Frees the spellings of keywords that are not needed.
template <typename... Slots>
void drop(Slots &...slots) {
    (own(slots), ...);
}

// Every statement acts through this: in a skipped block it does nothing, and its operands are freed all the same. What
// does not, on purpose:
//  - IF, ELSE and END keep the levels, also while they are skipped;
//  - a GOTO to a reserved word says so, skipped or not (goto_statement);
//  - the operands are evaluated before, so that DISPLAY and INCLUDE of a file read it, or say that it is missing.
template <typename... Operands, typename... Given>
void execute(void (*statement)(Operands...), Given &&...operands) {
    if (condition_executing()) statement(std::forward<Given>(operands)...);
}

// The message for a statement that could not be read: `keyword` is the one that it begins with, in any letter case.
// Nothing in a skipped block, and for statements that are accepted with any operand.
void format_error(OwnedText keyword);

#endif
