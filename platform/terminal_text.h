// Text from elsewhere (names, values, what a server says) on its way to a terminal: control characters, which a
// terminal would obey, are shown as "\x1B" instead. Terminals are taken to read UTF-8; one that reads single bytes
// would obey those from 0x80 to 0x9F, and so do some with bytes that are not valid UTF-8.
#ifndef PLATFORM_TERMINAL_TEXT_H
#define PLATFORM_TERMINAL_TEXT_H

#include <algorithm>
#include <locale>
#include <string>
#include <string_view>

// What a text begins with: one character, or one byte that does not belong to any.
struct TerminalLetter {
    std::string_view bytes;
    char32_t code = 0; // the character, if valid
    bool valid = false;
};

// Takes the first letter of `text`, which is not empty. False when the text ends in the middle of a character, which
// might go on; `letter` is then its first byte.
inline bool terminal_letter(std::string_view text, TerminalLetter *letter) {
    using Utf8 = std::codecvt<char32_t, char, std::mbstate_t>;
    static const auto &utf8 = std::use_facet<Utf8>(std::locale::classic());
    std::mbstate_t state = {};
    const char *const end = text.data() + std::min<size_t>(text.size(), 4);
    const char *next = text.data();
    char32_t *behind = nullptr;
    letter->code = 0;
    const auto result = utf8.in(state, text.data(), end, next, &letter->code, &letter->code + 1, behind);
    const bool isSurrogate = letter->code >= 0xD800 && letter->code < 0xE000;
    letter->valid = behind != &letter->code && !isSurrogate;
    letter->bytes = text.substr(0, letter->valid ? static_cast<size_t>(next - text.data()) : 1);
    return letter->valid || isSurrogate || result != Utf8::partial;
}

// C0, DEL and C1 as characters; of the bytes without a character those that C1 would have as single bytes.
inline bool terminal_obeys(const TerminalLetter &letter) {
    if (letter.valid) return letter.code < 0x20 || (letter.code >= 0x7F && letter.code < 0xA0);
    return static_cast<unsigned char>(letter.bytes[0]) < 0xA0;
}

constexpr size_t terminal_shown_size = 4; // of each byte that is shown

// Writes "\x1B" for a byte, without a NUL.
inline void terminal_show_byte(char byte, char *to) {
    constexpr char digits[] = "0123456789ABCDEF";
    const auto value = static_cast<unsigned char>(byte);
    to[0] = '\\';
    to[1] = 'x';
    to[2] = digits[value >> 4];
    to[3] = digits[value & 15];
}

// A whole text for a message of one line: what `isHidden` says true of, line ends and tabs included, is shown as bytes.
inline std::string terminal_text(std::string_view text, bool (*isHidden)(const TerminalLetter &) = terminal_obeys) {
    std::string shown;
    TerminalLetter letter;
    for (size_t at = 0; at < text.size(); at += letter.bytes.size()) {
        terminal_letter(text.substr(at), &letter);
        if (!isHidden(letter)) {
            shown += letter.bytes;
            continue;
        }
        for (const char byte : letter.bytes) {
            char bytes[terminal_shown_size];
            terminal_show_byte(byte, bytes);
            shown.append(bytes, sizeof bytes);
        }
    }
    return shown;
}

#endif
