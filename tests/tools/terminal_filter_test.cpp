#include "tools/qrtlogin/terminal_filter.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

// What a terminal gets of the pieces.
std::string shown(const std::vector<std::string> &pieces) {
    TerminalFilter filter;
    std::string all;
    for (const std::string &piece : pieces) {
        std::string out(TerminalFilter::room(piece.size()), '?');
        out.resize(filter.pass(piece, out.data()));
        all += out;
    }
    std::string out(TerminalFilter::room(0), '?');
    out.resize(filter.end(out.data()));
    return all + out;
}

// The same for all ways to cut a text in two, and byte by byte.
void expect_shown(const std::string &text, const std::string &expected) {
    EXPECT_EQ(shown({text}), expected);
    for (size_t at = 0; at <= text.size(); ++at)
        EXPECT_EQ(shown({text.substr(0, at), text.substr(at)}), expected) << "cut at " << at;
    std::vector<std::string> bytes;
    for (char byte : text) bytes.emplace_back(1, byte);
    EXPECT_EQ(shown(bytes), expected);
}

std::string as_hex(unsigned char byte) {
    char text[8];
    snprintf(text, sizeof text, "\\x%02X", byte);
    return text;
}

} // namespace

TEST(TerminalFilter, ShowsEveryControlCharacterButTabLineFeedAndBell) {
    for (int code = 0; code < 0x80; ++code) {
        const std::string letter(1, static_cast<char>(code));
        const bool obeyed = (code < 0x20 && code != '\t' && code != '\n' && code != '\a') || code == 0x7F;
        expect_shown("a" + letter + "b", "a" + (obeyed ? as_hex(static_cast<unsigned char>(code)) : letter) + "b");
    }
}

TEST(TerminalFilter, ShowsC1AsCharactersAndAsSingleBytes) {
    for (int code = 0x80; code < 0xA0; ++code) {
        const std::string byte(1, static_cast<char>(code)), hex = as_hex(static_cast<unsigned char>(code));
        expect_shown("a\xC2" + byte + "b", "a\\xC2" + hex + "b");
        expect_shown("a" + byte + "b", "a" + hex + "b");
        expect_shown("\xE2\x82" + byte, "\xE2\x82" + byte);
    }
    expect_shown("\xC2\xA0|\xC2\xBF", "\xC2\xA0|\xC2\xBF");
}

TEST(TerminalFilter, LetsValidUtf8Pass) {
    for (const char *text : {"J\xC3\xB6rg", "\xD0\x9B\xD0\x90", "\xE2\x82\xAC", "\xE4\xBD\xA0\xE5\xA5\xBD",
                             "\xF0\x9F\x98\x80", "\xEF\xBF\xBD", "\xF4\x8F\xBF\xBF", "\xE2\x80\xAE", "\xED\x9F\xBF"})
        expect_shown(text, text);
}

// Some terminals take an overlong form for the character, or read bytes one by one.
TEST(TerminalFilter, ShowsOfWhatIsNotValidTheBytesThatATerminalMayObey) {
    struct {
        const char *text, *expected;
    } const rows[] = {
        {"\xC0\x9B[2J", "\xC0\\x9B[2J"},
        {"\xE0\x80\x9B[2J", "\xE0\\x80\\x9B[2J"},
        {"\xE0\x82\x9B", "\xE0\\x82\\x9B"},
        {"\xF0\x80\x80\x9B", "\xF0\\x80\\x80\\x9B"},
        {"\xF8\x80\x80\x80\x9B", "\xF8\\x80\\x80\\x80\\x9B"},
        {"\xED\xA0\x80", "\xED\xA0\\x80"},
        {"\xF4\x90\x80\x80", "\xF4\\x90\\x80\\x80"},
        {"\xE2\x1B\x82", "\xE2\\x1B\\x82"},
        {"\xE2\x82\x1B[m", "\xE2\\x82\\x1B[m"},
        {"\xC3\xC2\x9B", "\xC3\\xC2\\x9B"},
        {"\xF0\x9F\x98\xE2\x82\xAC", "\xF0\\x9F\\x98\xE2\x82\xAC"},
        {"M\xFCller", "M\xFCller"},
        {"\xF0\x9F\x98", "\xF0\\x9F\\x98"},
        {"\xC2", "\xC2"},
        {"\xF0\r\n\xE0\x80\r\n", "\xF0\r\n\xE0\\x80\r\n"},
    };
    for (const auto &row : rows) expect_shown(row.text, row.expected);
}

TEST(TerminalFilter, LetsACarriageReturnPassOnlyBeforeALineFeed) {
    expect_shown("a\r\nb", "a\r\nb");
    expect_shown("real\rfake", "real\\x0Dfake");
    expect_shown("a\r\r\nb", "a\\x0D\r\nb");
    expect_shown("a\r\xC3\xB6", "a\\x0D\xC3\xB6");
    expect_shown("a\r\x1B\n", "a\\x0D\\x1B\n");
    expect_shown("a\n\r", "a\n\\x0D");
}
