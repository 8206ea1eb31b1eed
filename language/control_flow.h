// GOTO and labels, EXIT, BREAK: the statements that steer the run of a script.
#ifndef LANGUAGE_CONTROL_FLOW_H
#define LANGUAGE_CONTROL_FLOW_H

#include <cstdint>

#include "base/text.h"

#pragma GCC visibility push(default)
extern "C" {
extern int32_t gotostate;        // a jump is due. Set here.
extern char *gotolabel;          // where to, owned. Set here.
extern int32_t invalidGoToLabel; // the label being parsed is a reserved word. Set here.
extern int32_t gotoWasUsed;      // the script executed a GOTO. Set here, reset by parsescript_Run.
}
#pragma GCC visibility pop

// Runs after every statement: makes the jump that is due. No look-ahead has been read then, so reading goes on behind
// the label.
void statement_completed();

// The label of a GOTO is a reserved word: a syntax error, and that GOTO will not jump.
void label_is_reserved();
void goto_statement(OwnedText label);
// A label line. Labels are found textually, so it does nothing.
void label_statement(OwnedText label);

// EXIT; the grammar's action ends the parse.
void exit_statement();

// Sets whether an interrupt may abort the script.
void break_statement(bool on);

#endif
