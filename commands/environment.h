// The statements that change what later statements and scripts see: environment variables, the script's arguments, the
// directory context, and which scripts are to follow.
#ifndef COMMANDS_ENVIRONMENT_H
#define COMMANDS_ENVIRONMENT_H

#include "base/text.h"

// SET, DOS SET, TEMP SET and LOCAL SET: one and the same. The variable lasts as long as the process.
void set_statement(OwnedText name, OwnedText value);
// SET and the others without a value: the variable becomes empty, it is not removed.
void set_empty_statement(OwnedText name);

// SHIFT n, SHIFT -n (`count` is the text after the sign) and SHIFT.
void shift_by(OwnedText count);
void shift_back(OwnedText count);
void shift_once();

// CONTEXT, CHANGE_CONTEXT and CX.
void context_statement(OwnedText name);

// PROFILE: the object whose "Profile" attribute takes the place of the user's own.
void profile_statement(OwnedText name);

// NO_DEFAULT: reports to the calling program that it should run no default script.
void no_default_statement();

#endif
