// Statements that older scripts hold and that have no meaning here: accepted, a few of them with a message. SWAP,
// NOSWAP, COMSPEC, TERM and DOS VERIFY do not even need a function.
#ifndef COMMANDS_COMPATIBILITY_H
#define COMMANDS_COMPATIBILITY_H

#include "base/text.h"

// SET_TIME ON and SET_TIME OFF.
void set_time_statement();

void regread_statement(OwnedText key);

void script_server_statement(OwnedText server);

#endif
