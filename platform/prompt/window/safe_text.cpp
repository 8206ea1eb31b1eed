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
    constexpr char first_strong_isolate[] = "\u2068", pop_isolate[] = "\u2069";
    return first_strong_isolate + terminal_text(name, is_hidden) + pop_isolate;
}
