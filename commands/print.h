// The statements that only write: WRITE, DISPLAY, FDISPLAY, CLS, PAUSE, FIRE, LASTLOGINTIME, DEBUG, which sets the
// trace level, and statements of older scripts that have no meaning here. Of these SWAP, NOSWAP, COMSPEC, TERM and DOS
// VERIFY do not even need a function.
#ifndef COMMANDS_PRINT_H
#define COMMANDS_PRINT_H

#include "base/text.h"

void write_statement(OwnedText text);

// DISPLAY and FDISPLAY of a file: `content` is its text, written as it stands.
void display_text(OwnedText content);
// DISPLAY and FDISPLAY of a directory object: its login script, or else a file of that name.
void display_object(OwnedText name);

// 40 line feeds; no terminal control sequence.
void cls_statement();

// PAUSE and WAIT: wait in the graphical mode only.
void pause_statement();

// All forms of FIRE; `second` may be null.
void fire_statement(OwnedText count, OwnedText second);

void last_login_time_statement();

void debug_statement(OwnedText level);
void debug_off();

void set_time_statement(); // ON and OFF
void regread_statement(OwnedText key);
void script_server_statement(OwnedText server);

#endif
