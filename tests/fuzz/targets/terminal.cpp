// The filter between the scripts and a terminal, and the texts of messages.
//
//     input ::= size text      the text comes in pieces of so many bytes; 0: as a whole
#include "tools/qrtlogin/terminal_filter.h"

#include <algorithm>

#include "tests/fuzz/fuzz.h"

static std::string shown(std::string_view text, size_t piece) {
    TerminalFilter filter;
    std::string all;
    ExactText out(std::string(TerminalFilter::room(std::min(piece, text.size())), '?'));
    for (size_t at = 0; at < text.size(); at += piece)
        all.append(out.data(), filter.pass(text.substr(at, piece), out.data()));
    return all.append(out.data(), filter.end(out.data()));
}

// How many bytes from 0x80 to 0xBF belong to the character that a byte begins, by the table of well-formed UTF-8; the
// first of them lies between `low` and `high`. -1 for a byte that begins none.
static int followers(unsigned char lead, unsigned char *low, unsigned char *high) {
    *low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    *high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    if (lead < 0x80) return 0;
    return lead < 0xC2 ? -1 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : lead < 0xF5 ? 3 : -1;
}

// The size of the well-formed character at the start of `text`, or 0.
static size_t character(std::string_view text) {
    unsigned char low = 0, high = 0;
    const int more = followers(static_cast<unsigned char>(text[0]), &low, &high);
    if (more < 0 || static_cast<size_t>(more) >= text.size()) return 0;
    for (int i = 1; i <= more; ++i, low = 0x80, high = 0xBF) {
        const auto byte = static_cast<unsigned char>(text[static_cast<size_t>(i)]);
        if (byte < low || byte > high) return 0;
    }
    return static_cast<size_t>(more) + 1;
}

static std::string as_bytes(std::string_view text) {
    static const char digits[] = "0123456789ABCDEF";
    std::string all;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        all += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
    }
    return all;
}

// What is to be shown, found with the whole text at hand.
static std::string model(std::string_view text, bool message) {
    std::string all;
    for (size_t at = 0; at < text.size();) {
        const std::string_view rest = text.substr(at);
        const size_t size = character(rest);
        const std::string_view letter = rest.substr(0, size == 0 ? 1 : size);
        const auto first = static_cast<unsigned char>(letter[0]);
        const bool second = size == 2 && first == 0xC2 && static_cast<unsigned char>(letter[1]) < 0xA0;
        bool hidden = (size == 1 && (first < ' ' || first == 0x7F)) || second || (size == 0 && first < 0xA0);
        if (!message && (first == '\t' || first == '\n' || first == '\a' || rest.substr(0, 2) == "\r\n"))
            hidden = false;
        all += hidden ? as_bytes(letter) : std::string(letter);
        at += letter.size();
    }
    return all;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    const std::string_view text = fuzz_view(data + 1, size - 1);
    const std::string expected = model(text, false);
    FUZZ_CHECK(shown(text, data[0] == 0 ? text.size() : data[0]) == expected);
    FUZZ_CHECK(shown(text, 1) == expected);
    FUZZ_CHECK(shown(expected, 3) == expected);
    FUZZ_CHECK(terminal_text(text) == model(text, true));
    return 0;
}
