#include "commands/session_statements.h"

#include "base/output.h"
#include "commands/current_tree.h"
#include "directory/servers.h"
#include "script/parser.h"

static const char *shown(const OwnedText &text) {
    return text == nullptr ? "NULL" : text.get();
}

void tree_statement(OwnedText tree, OwnedText user, SecretText password) {
    TRACE(yyparse, 5, "TREE %s/%s;%s", shown(tree), shown(user), password == nullptr ? "NULL" : "<a password>");
    current_tree_move(tree.get(), user.get(), password.get());
}

void attach_statement(OwnedText server) {
    const uint32_t code = servers_attach(server.get());
    if (code == 0) {
        say("Attached to server(%s)\n", server.get());
    } else {
        // Positional placeholders are an extension of the language's formats.
        // cppcheck-suppress shadowFunction ; which takes the keyword for a type
        __extension__ say("Unable to attach to server(%1$s) %2$X\n", server.get(), code);
    }
}
