// Conditions and the levels of IF: whether the statement that has just been parsed is to act.
//
// A script runs while it is parsed, so a false IF does not stop the parser: it enters a level that skips, and every
// statement asks condition_executing() before it does anything. Condition values are 0 for true and 1 for false.
#ifndef SCRIPT_CONDITIONS_H
#define SCRIPT_CONDITIONS_H

#include <cstdint>

#include "base/text.h"

constexpr int cond_levels = 200;

#pragma GCC visibility push(default)
extern "C" {
extern int32_t condstate[cond_levels]; // 0: statements of that level execute, 1: they are skipped. Set here.
extern int32_t condindex;              // the current level. Set here, reset by parsescript_Run.
extern int32_t valuestate;             // the comparison being built began with VALUE. Set here.
}
#pragma GCC visibility pop

// True when statements of the current level execute.
bool condition_executing();

// Back to level 0, for a new script.
void cond_reset();

// Enters a level that executes when `condition` is 0 and the enclosing level executes. Beyond 199 levels it reports one
// syntax error and the whole block is skipped.
void cond_enter(int32_t condition);
// Enters a level that skips, for an IF whose condition could not be read, and says so.
void cond_enter_unreadable();
// Leaves the current level; at level 0 nothing happens.
void cond_leave();
// ELSE: turns the current level around unless the enclosing one is skipped.
void else_statement();

// The two forms of a comparison's left side. Each hands its operand on.
OwnedText cond_string_operand(OwnedText text);
OwnedText cond_numeric_operand(OwnedText text);

enum Comparison {
    COMPARE_EQUAL,
    COMPARE_NOT_EQUAL,
    COMPARE_GREATER,
    COMPARE_NOT_LESS,
    COMPARE_LESS,
    COMPARE_NOT_GREATER
};

// Compares as numbers after VALUE, else as texts ignoring case.
int32_t cond_compare(Comparison comparison, OwnedText left, OwnedText right);
// A text that stands alone is true when it is "0", which is what MEMBER OF yields for a member.
int32_t cond_bare(OwnedText text);

// Both sides have been evaluated by the time these are called.
int32_t cond_or(int32_t left, int32_t right);
int32_t cond_nor(int32_t left, int32_t right);
int32_t cond_and(int32_t left, int32_t right);

#endif
