#include "commands/print.h"

#include "base/output.h"
#include "commands/object_text.h"
#include "directory/session.h"
#include "script/conditions.h"

void write_statement(OwnedText text) {
    if (!condition_executing()) return;
    output_put(std::string(text.get()) + '\n');
}

void write_format_error() {
    if (condition_executing()) say("Invalid write command format\n");
}

void display_text(OwnedText content) {
    if (condition_executing()) output_put(content.get());
}

void display_object(OwnedText name) {
    if (!condition_executing()) return;
    const OwnedText content = object_text(name.get());
    if (content) output_put(content.get());
}

void display_format_error() {
    if (condition_executing()) say("Invalid display command format\n");
}

void fdisplay_format_error() {
    if (condition_executing()) say("Invalid fdisplay command format\n");
}

void cls_statement() {
    if (!condition_executing()) return;
    for (int line = 0; line < 40; line++) output_put("\n");
}

void cls_format_error() {
    if (condition_executing()) say("Invalid clear screen command format\n");
}

// In text mode the script goes straight on: the terminal belongs to the calling program.
void pause_statement() {
    if (!condition_executing()) return;
    say("Press Enter key to continue...\n");
    qrt_getPauseResponse();
}

void pause_format_error() {
    if (condition_executing()) say("Invalid pause command format\n");
}

void FirePhasers(char *count, char *second) {
    free(count);
    free(second);
}

void fire_statement(OwnedText count, OwnedText second) {
    if (condition_executing()) FirePhasers(count.release(), second.release());
}

void fire_format_error() {
    if (condition_executing()) say("Invalid FIRE format \n");
}

void last_login_time_statement() {
    if (!condition_executing()) return;
    const OwnedText object(qrt_Object());
    char *value = nullptr;
    const uint32_t code = qrt_GetAttribute(ctx, object.get(), "Last_Login_Time", &value);
    const OwnedText time(value);
    if (code == 0 && time) say("Last Login occurred at: %s\n", time.get());
}

void last_login_time_format_error() {
    if (condition_executing()) say("Invalid lastlogintime command format\n");
}

void debug_statement(OwnedText level) {
    if (!condition_executing()) return;
    debug_level = text_number(level.get());
    say("DEBUG turned on level=%i\n", debug_level);
}

void debug_off() {
    if (condition_executing()) debug_level = 0;
}

void debug_format_error() {
    if (condition_executing()) say("Invalid DEBUG command format\n");
}
