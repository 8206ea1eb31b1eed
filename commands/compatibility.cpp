#include "commands/compatibility.h"

#include "base/output.h"
#include "script/conditions.h"

void set_time_statement() {
    if (condition_executing()) say("set_time command not implemented for Linux\n");
}

void set_time_format_error() {
    if (condition_executing()) say("Invalid set_time command format\n");
}

void regread_statement(OwnedText) {
    if (condition_executing()) say("REGREAD command not supported\n");
}

void script_server_statement(OwnedText) {
    if (condition_executing()) say("script_server (out of date) Ferrox 2 and Ferrox 3 users only\n");
}

void script_server_format_error() {
    if (condition_executing()) say("Invalid script server command format\n");
}

void term_format_error() {
    if (condition_executing()) say("Invalid term command format\n");
}

// Accepted without effect, and the script goes on.
void term_statement(OwnedText) {}
