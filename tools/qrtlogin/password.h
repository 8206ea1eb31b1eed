// Where the login's password comes from: the person, or a descriptor; never the command line.
#ifndef TOOLS_QRTLOGIN_PASSWORD_H
#define TOOLS_QRTLOGIN_PASSWORD_H

#include <string>

#include "platform/common/secret.h"

// Asks on the terminal, without echo. Throws Failure: no terminal, an interrupt, an empty or an overlong answer.
Secret password_ask(const std::string &question);

// Throws the Failure of password_read for a descriptor that is not open.
void password_require_open(int descriptor);

// Reads from a descriptor up to its first line end, or to its end, and closes it; a standard descriptor is /dev/null
// from then on. Throws Failure: the descriptor cannot be read, no or an overlong password, a zero byte in it.
Secret password_read(int descriptor);

// Reads two of them in the same way, each on a line of its own.
void password_read_both(int descriptor, Secret *before, Secret *after);

#endif
