#include "commands/environment.h"

#include <cstdlib>

#include "base/output.h"
#include "base/variables.h"
#include "directory/substitution.h"
#include "script/conditions.h"
#include "script/parser.h"

// A name that cannot be set is of no consequence to a script.
void set_statement(OwnedText name, OwnedText value) {
    if (!condition_executing()) return;
    // The text was replaced when it was read; that it is replaced once more here is required.
    value = substitution_of(ctx, value.get());
    variables_set(name.get(), value.get());
}

void set_empty_statement(OwnedText name) {
    if (condition_executing()) variables_set(name.get(), "");
}

void set_format_error() {
    if (condition_executing()) say("Invalid set command format\n");
}

void shift_by(OwnedText count) {
    if (condition_executing()) qrt_ShiftVars(text_number(count.get()));
}

void shift_back(OwnedText count) {
    if (!condition_executing()) return;
    // The smallest number has no opposite and stays what it is.
    const auto number = static_cast<unsigned>(text_number(count.get()));
    qrt_ShiftVars(static_cast<int>(0U - number));
}

void shift_once() {
    if (condition_executing()) qrt_ShiftVars(1);
}

void shift_format_error() {
    if (condition_executing()) say("Invalid shift command format\n");
}

void context_statement(OwnedText name) {
    if (condition_executing()) qrt_SetCurrentContext(name.get());
}

void context_format_error() {
    if (condition_executing()) say("Invalid context command format\n");
}

void profile_statement(OwnedText name) {
    if (!condition_executing()) return;
    free(over_ride_profile);
    over_ride_profile = name.release();
}

void profile_format_error() {
    if (condition_executing()) say("Invalid profile command format\n");
}

void no_default_statement() {
    if (!condition_executing()) return;
    use_default_script = 0;
    TRACE(yyparse, 5, "no default script");
}

void no_default_format_error() {
    if (condition_executing()) say("Invalid no_default command format\n");
}
