#include "commands/print.h"

#include <cstring>

#include "base/output.h"
#include "commands/file_spec.h"
#include "directory/attributes.h"
#include "directory/session.h"
#include "qrtscript.h"

void write_statement(OwnedText text) {
    // The line end takes the place of the NUL: one piece, without a copy of the text.
    const size_t length = strlen(text.get());
    text.get()[length] = '\n';
    output_put({text.get(), length + 1});
}

void display_text(OwnedText content) {
    output_put(content.get());
}

void display_object(OwnedText name) {
    const OwnedText content = file_of_object(std::move(name));
    if (content) output_put(content.get());
}

void cls_statement() {
    for (int line = 0; line < 40; line++) output_put("\n");
}

// In text mode the script goes straight on: the terminal belongs to the calling program.
void pause_statement() {
    say("Press Enter key to continue...\n");
    session_pause();
}

// Silent: there is no sound to fire.
void fire_statement(OwnedText, OwnedText) {}

void last_login_time_statement() {
    const std::optional<std::string> object = session_object();
    OwnedText time;
    if (attributes_text(ctx, object ? object->c_str() : nullptr, "Last_Login_Time", time) == 0)
        say("Last Login occurred at: %s\n", time.get());
}

void debug_statement(OwnedText level) {
    debug_level = text_number(level.get());
    say("DEBUG turned on level=%i\n", debug_level);
}

void debug_off() {
    debug_level = 0;
}

void set_time_statement() {
    say("set_time command not implemented for Linux\n");
}

void regread_statement(OwnedText) {
    say("REGREAD command not supported\n");
}

void script_server_statement(OwnedText) {
    say("script_server (out of date) Ferrox 2 and Ferrox 3 users only\n");
}
