#include "script/conditions.h"

#include <cstring>

#include "base/output.h"
#include "script/parser.h"
#include "script/syntax_error.h"

int32_t condstate[cond_levels] = {};
int32_t condindex = 0;
int32_t valuestate = 0;

// Levels entered beyond the last one of condstate. All of them are skipped.
static int32_t levels_too_deep = 0;

bool condition_executing() {
    return levels_too_deep == 0 && condstate[condindex] == 0;
}

void cond_reset() {
    condindex = 0;
    levels_too_deep = 0;
}

static void enter_level(int32_t state) {
    if (condindex == cond_levels - 1) {
        // One report for all that is nested in the block that is refused.
        if (levels_too_deep++ == 0) syntax_error_report("IF nested too deep");
        return;
    }
    condstate[++condindex] = state;
}

void cond_enter(int32_t condition) {
    enter_level(condition ? 1 : condstate[condindex]);
}

void cond_enter_unreadable() {
    if (condition_executing()) say("Invalid if statement \n");
    enter_level(1);
}

void cond_leave() {
    if (levels_too_deep > 0)
        levels_too_deep--;
    else if (condindex > 0)
        condindex--;
}

// A stray ELSE at level 0 makes the rest of the script skip, and no END can undo it: required. The level around level 0
// counts as executing, so that a second stray ELSE turns it back.
void else_statement() {
    if (levels_too_deep > 0) return;
    const bool enclosingSkips = condindex > 0 && condstate[condindex - 1] != 0;
    if (condstate[condindex] == 0)
        condstate[condindex] = 1;
    else if (!enclosingSkips)
        condstate[condindex] = 0;
}

OwnedText cond_string_operand(OwnedText text) {
    valuestate = 0;
    return text;
}

OwnedText cond_numeric_operand(OwnedText text) {
    valuestate = 1;
    return text;
}

static int32_t traced(bool result) {
    TRACE(yyparse, 3, "conditional result %s", result ? "TRUE" : "FALSE");
    return result ? 0 : 1;
}

// `order` is below, equal to or above 0.
static bool holds(Comparison comparison, int order) {
    switch (comparison) {
        case COMPARE_EQUAL:
            return order == 0;
        case COMPARE_NOT_EQUAL:
            return order != 0;
        case COMPARE_GREATER:
            return order > 0;
        case COMPARE_NOT_LESS:
            return order >= 0;
        case COMPARE_LESS:
            return order < 0;
        default: // COMPARE_NOT_GREATER
            return order <= 0;
    }
}

int32_t cond_compare(Comparison comparison, OwnedText left, OwnedText right) {
    const bool numeric = valuestate != 0;
    valuestate = 0;
    if (!numeric) return traced(holds(comparison, text_compare_nocase(left.get(), right.get())));
    const int a = text_number(left.get());
    const int b = text_number(right.get());
    // The numeric "<=" tests equality alone: required, scripts are written around it.
    if (comparison == COMPARE_NOT_GREATER) comparison = COMPARE_EQUAL;
    return traced(holds(comparison, a < b ? -1 : a > b ? 1 : 0));
}

int32_t cond_bare(OwnedText text) {
    valuestate = 0;
    return traced(strcmp(text.get(), "0") == 0);
}

int32_t cond_or(int32_t left, int32_t right) {
    return traced(left == 0 || right == 0);
}

int32_t cond_nor(int32_t left, int32_t right) {
    return traced(left != 0 && right != 0);
}

int32_t cond_and(int32_t left, int32_t right) {
    return traced(left == 0 && right == 0);
}
