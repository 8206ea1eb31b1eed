#include "commands/compatibility.h"

#include "base/output.h"

void set_time_statement() {
    say("set_time command not implemented for Linux\n");
}

void regread_statement(OwnedText) {
    say("REGREAD command not supported\n");
}

void script_server_statement(OwnedText) {
    say("script_server (out of date) Ferrox 2 and Ferrox 3 users only\n");
}
