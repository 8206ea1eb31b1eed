// The statements that reach for further trees and servers: TREE and ATTACH. They report; the work is done by
// doTreeLogin and qrt_Attach. Each does nothing in a skipped branch and releases its operands.
#ifndef COMMANDS_SESSION_STATEMENTS_H
#define COMMANDS_SESSION_STATEMENTS_H

#include "base/text.h"

// TREE tree [ "/" user [ ";" password ] ]; `user` and `password` are null when not given. The password is overwritten
// with zero bytes, in a skipped branch too.
void tree_statement(OwnedText tree, OwnedText user, OwnedText password);
void tree_format_error();

void attach_statement(OwnedText server);
void attach_format_error();

#endif
