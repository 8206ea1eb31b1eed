#include "tools/qrtlogin/terminal_filter.h"

#include <cstring>

static bool is_hidden(const TerminalLetter &letter) {
    return letter.code != '\t' && letter.code != '\n' && letter.code != '\a' && terminal_obeys(letter);
}

static size_t put(const TerminalLetter &letter, char *to) {
    size_t written = 0;
    for (const char byte : letter.bytes) {
        if (is_hidden(letter)) {
            terminal_show_byte(byte, to + written);
            written += terminal_shown_size;
        } else {
            to[written++] = byte;
        }
    }
    return written;
}

// Writes all of what is kept that is a whole letter.
size_t TerminalFilter::settle(char *to, bool atEnd) {
    size_t written = 0;
    while (keptSize_ > 0) {
        const std::string_view kept(kept_, keptSize_);
        TerminalLetter letter;
        if (!terminal_letter(kept, &letter) && !atEnd) break;
        if (kept == "\r" && !atEnd) break;
        if (kept == "\r\n") {
            memcpy(to + written, kept_, keptSize_);
            written += keptSize_;
            keptSize_ = 0;
            break;
        }
        written += put(letter, to + written);
        keptSize_ -= letter.bytes.size();
        memmove(kept_, kept_ + letter.bytes.size(), keptSize_);
    }
    return written;
}

size_t TerminalFilter::pass(std::string_view text, char *to) {
    size_t written = 0;
    for (const char byte : text) {
        kept_[keptSize_++] = byte;
        written += settle(to + written, false);
    }
    return written;
}

size_t TerminalFilter::end(char *to) {
    return settle(to, true);
}
