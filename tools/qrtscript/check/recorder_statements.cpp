// The functions of the statements, as ones that record.

#include <cstdlib>

#include "language/actions.h"
#include "tools/qrtscript/check/recorder.h"

template <typename... Texts>
static void record(Statement::Kind kind, const Texts &...operands) {
    // A mistake inside the operands has been reported; the statement is executed all the same.
    recorder_statement(kind).operands = {recorder_phrase(operands)...};
}

void exit_statement() {
    record(Statement::Kind::exit);
}
void goto_statement(OwnedText label) {
    record(Statement::Kind::go_to, label);
}
void label_statement(OwnedText label) {
    record(Statement::Kind::label, label);
}
void break_statement(bool) {
    record(Statement::Kind::other);
}
void write_statement(OwnedText text) {
    record(Statement::Kind::write, text);
}
void display_text(OwnedText content) {
    record(Statement::Kind::display_file, content);
}
void display_object(OwnedText name) {
    record(Statement::Kind::display_object, name);
}
void include_text(OwnedText text) {
    record(Statement::Kind::include_file, text);
}
void include_object(OwnedText name) {
    record(Statement::Kind::include_object, name);
}
void cls_statement() {
    record(Statement::Kind::other);
}
void pause_statement() {
    record(Statement::Kind::other);
}
void fire_statement(OwnedText count, OwnedText second) {
    if (second)
        record(Statement::Kind::other, count, second);
    else
        record(Statement::Kind::other, count);
}
void last_login_time_statement() {
    record(Statement::Kind::other);
}
void debug_statement(OwnedText level) {
    record(Statement::Kind::other, level);
}
void debug_off() {
    record(Statement::Kind::other);
}
void set_time_statement() {
    record(Statement::Kind::other);
}
void regread_statement(OwnedText key) {
    record(Statement::Kind::other, key);
}
void script_server_statement(OwnedText server) {
    record(Statement::Kind::other, server);
}
void map_statement(OwnedText line) {
    record(Statement::Kind::map, line);
}
void drive_statement(OwnedText name) {
    record(Statement::Kind::drive, name);
}
void program_statement(OwnedText line) {
    record(Statement::Kind::program, line);
}
void program_nowait_statement(OwnedText line) {
    record(Statement::Kind::program_nowait, line);
}
void set_statement(OwnedText name, OwnedText value) {
    record(Statement::Kind::set, name, value);
}
void set_empty_statement(OwnedText name) {
    record(Statement::Kind::set_empty, name);
}
void shift_by(OwnedText count) {
    record(Statement::Kind::other, count);
}
void shift_back(OwnedText count) {
    record(Statement::Kind::other, count);
}
void shift_once() {
    record(Statement::Kind::other);
}
void context_statement(OwnedText name) {
    record(Statement::Kind::context, name);
}
void profile_statement(OwnedText name) {
    record(Statement::Kind::profile, name);
}
void no_default_statement() {
    record(Statement::Kind::other);
}
void tree_statement(OwnedText tree, OwnedText user, SecretText password) {
    Statement &statement = recorder_statement(Statement::Kind::tree);
    statement.operands = {recorder_phrase(tree)};
    if (user) statement.operands.push_back(recorder_phrase(user));
    if (password) statement.operands.push_back(strtoul(password.get(), nullptr, 10));
}
void attach_statement(OwnedText server) {
    record(Statement::Kind::attach, server);
}
