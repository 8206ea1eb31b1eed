#include "commands/environment.h"

#include <cstdlib>

#include "base/output.h"
#include "base/variables.h"
#include "directory/session.h"
#include "directory/substitution.h"
#include "qrtscript.h"
#include "script/parser.h"

// A name that cannot be set is of no consequence to a script.
void set_statement(OwnedText name, OwnedText value) {
    // The text was replaced when it was read; that it is replaced once more here is required.
    value = substitution_in(ctx, std::move(value));
    variables_set(name.get(), value.get());
}

void set_empty_statement(OwnedText name) {
    variables_set(name.get(), "");
}

void shift_by(OwnedText count) {
    session_shift_variables(text_number(count.get()));
}

void shift_back(OwnedText count) {
    // The smallest number has no opposite and stays what it is.
    const auto number = static_cast<unsigned>(text_number(count.get()));
    session_shift_variables(static_cast<int>(0U - number));
}

void shift_once() {
    session_shift_variables(1);
}

void context_statement(OwnedText name) {
    session_set_context(name.get());
}

void profile_statement(OwnedText name) {
    free(over_ride_profile);
    over_ride_profile = name.release();
}

void no_default_statement() {
    use_default_script = 0;
    TRACE(yyparse, 5, "no default script");
}
