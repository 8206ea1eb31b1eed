#include "tools/qrtscript/plan/record_text.h"

#include <cctype>

#include "platform/common/nocase.h"
#include "platform/terminal_text.h"

const char *const record_hidden = "********";

std::string record_text(std::string_view bytes) {
    return terminal_text(
        bytes, [](const TerminalLetter &letter) { return !letter.valid; });
}

static bool is_word_letter(char c) {
    return isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

// Where a keyword ends in the line, or npos.
static size_t end_of_word(std::string_view line, std::string_view word) {
    for (size_t at = 0; at + word.size() <= line.size(); at++) {
        const bool starts = at == 0 || !is_word_letter(line[at - 1]);
        const size_t end = at + word.size();
        const bool ends = end == line.size() || !is_word_letter(line[end]);
        if (starts && ends && equal_nocase(line.substr(at, word.size()), word)) return end;
    }
    return line.npos;
}

std::string record_line(std::string_view line) {
    std::string text = record_text(line);
    for (const std::string_view word : {"TREE", "ATTACH"}) {
        const size_t end = end_of_word(text, word);
        const size_t semicolon = end == text.npos ? end : text.find(';', end);
        if (semicolon != text.npos) text.replace(semicolon + 1, text.npos, record_hidden);
    }
    return text;
}

static bool contains_nocase(std::string_view text, std::string_view part) {
    for (size_t at = 0; at + part.size() <= text.size(); at++)
        if (equal_nocase(text.substr(at, part.size()), part)) return true;
    return false;
}

// When a password expires is no secret, and scripts show it.
bool record_name_is_secret(std::string_view name) {
    if (contains_nocase(name, "password_expir") || contains_nocase(name, "password expir")) return false;
    for (const char *part : {"password", "passwd", "passphrase", "unicodepwd", "secret", "token", "credential",
                             "privatekey", "private_key", "ntpwdhistory", "lmpwdhistory", "dbcspwd"})
        if (contains_nocase(name, part)) return true;
    return false;
}
