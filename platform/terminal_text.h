// Text from elsewhere (names, values, what a server says) on its way to a terminal: control characters, which a
// terminal would obey, are shown as "\x1B" instead. Terminals are taken to read UTF-8; one that reads single bytes
// would obey those from 0x80 to 0x9F, and so do some with bytes that are not valid UTF-8.
#ifndef PLATFORM_TERMINAL_TEXT_H
#define PLATFORM_TERMINAL_TEXT_H

#include <algorithm>
#include <string>
#include <string_view>

// What a text begins with: one character, or one byte that does not belong to any.
struct TerminalLetter {
    std::string_view bytes;
    char32_t code = 0; // the character, if valid
    bool valid = false;
};

// Takes the first letter of `text`, which is not empty. False when the text ends in the middle of a character, which
// might go on; `letter` is then its first byte. By the table of well-formed UTF-8 (the Unicode Standard, table 3-7):
// every start would wait for a library that does no more here.
inline bool terminal_letter(std::string_view text, TerminalLetter *letter) {
    const auto byte = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    const size_t size = lead < 0x80 ? 1 : lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
    // Of the second byte; the others are from 0x80 to 0xBF.
    unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    char32_t code = size < 2 ? lead : lead & (0x7Fu >> size);
    size_t taken = 1;
    while (taken < std::min(size, text.size()) && byte(taken) >= low && byte(taken) <= high) {
        code = code << 6 | (byte(taken++) & 0x3Fu);
        low = 0x80;
        high = 0xBF;
    }
    letter->valid = taken == size;
    letter->code = letter->valid ? code : 0;
    letter->bytes = text.substr(0, letter->valid ? size : 1);
    return letter->valid || size == 0 || taken < text.size();
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
