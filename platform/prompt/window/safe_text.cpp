#include "platform/prompt/window/safe_text.h"

#include "platform/terminal_text.h"

// The marks and overrides of the bidirectional algorithm, the separators of lines, and the mark of the byte order.
static bool changes_order(char32_t code) {
    return code == 0x061C || code == 0x200E || code == 0x200F || (code >= 0x2028 && code <= 0x202E) ||
           (code >= 0x2066 && code <= 0x2069) || code == 0xFEFF;
}

static bool is_hidden(const TerminalLetter &letter) {
    return !letter.valid || terminal_obeys(letter) || changes_order(letter.code);
}

std::string window_safe_text(std::string_view text) {
    return terminal_text(
        text, [](const TerminalLetter &letter) { return letter.code != '\n' && is_hidden(letter); });
}

std::string window_safe_name(std::string_view name) {
    // The signs U+2068 "first strong isolate" and U+2069 "pop directional isolate".
    static constexpr char before[] = {'\xE2', '\x81', '\xA8', '\0'}, behind[] = {'\xE2', '\x81', '\xA9', '\0'};
    return before + terminal_text(name, is_hidden) + behind;
}
