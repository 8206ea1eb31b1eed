// Everything that the grammar's actions call: a complete list of what a script can do. A tool that wants to do
// something else with a script links the same grammar and tokenizer with its own functions of these names.
#ifndef LANGUAGE_ACTIONS_H
#define LANGUAGE_ACTIONS_H

#include "base/text.h"
#include "commands/compatibility.h"
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

// Frees the spellings of keywords that nobody needs.
template <typename... Slots>
void drop(Slots &...slots) {
    (own(slots), ...);
}

#endif
