// The statements that reach for further trees and servers: TREE and ATTACH.
#ifndef COMMANDS_SESSION_STATEMENTS_H
#define COMMANDS_SESSION_STATEMENTS_H

#include "base/text.h"

// TREE tree [ "/" user [ ";" password ] ]; `user` and `password` are null when not given.
void tree_statement(OwnedText tree, OwnedText user, SecretText password);

void attach_statement(OwnedText server);

#endif
