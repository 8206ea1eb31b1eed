// Statements that older scripts hold and that have no meaning here: accepted, a few of them with a message. Each does
// nothing in a skipped branch and releases its operands. SWAP, NOSWAP, COMSPEC and DOS VERIFY do not even need a
// function.
#ifndef COMMANDS_COMPATIBILITY_H
#define COMMANDS_COMPATIBILITY_H

#include "base/text.h"

// SET_TIME ON and SET_TIME OFF.
void set_time_statement();
void set_time_format_error();

void regread_statement(OwnedText key);

void script_server_statement(OwnedText server);
void script_server_format_error();

void term_statement(OwnedText type);
void term_format_error();

#endif
