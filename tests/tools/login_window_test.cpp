// What a login and its window say to each other, and what they make of it without a display.
#include <gtest/gtest.h>
#include <string>

#include "tools/qrtlogin/login_message.h"
#include "tools/qrtlogin/script_place.h"
#include "tools/qrtlogin/window/output_text.h"
#include "tools/qrtlogin/window/record.h"

namespace {

std::string packet_of(char kind, std::initializer_list<std::string_view> fields) {
    char packet[window_message_limit];
    return {packet, login_message_write(kind, fields, packet)};
}

bool is_read(const std::string &packet, LoginSide from) {
    LoginMessage message;
    return login_message_read(packet, from, &message);
}

std::vector<std::string> lines_of(OutputText *output) {
    std::vector<std::string> lines;
    for (const OutputLine &line : output->take(OutputText::most_lines))
        lines.push_back((line.isMarked ? "!" : "") + line.text);
    return lines;
}

using Lines = std::vector<std::string>;

} // namespace

TEST(LoginMessage, ArrivesAsItWasSent) {
    LoginMessage got;
    const std::string packet = packet_of('p', {"u", "line 4", "#x\xff", "ended with status 3"});
    ASSERT_TRUE(login_message_read(packet, LoginSide::login, &got));
    EXPECT_EQ(got.kind, 'p');
    EXPECT_EQ(got.fields[0], "u");
    EXPECT_EQ(got.fields[2], "#x\xff");
    EXPECT_EQ(got.fields[3], "ended with status 3");
}

TEST(LoginMessage, OfTheOtherSideIsNone) {
    EXPECT_TRUE(is_read(packet_of('l', {"jdoe", "x"}), LoginSide::window));
    EXPECT_FALSE(is_read(packet_of('l', {"jdoe", "x"}), LoginSide::login));
    EXPECT_FALSE(is_read(packet_of('e', {"c", ""}), LoginSide::window));
}

TEST(LoginMessage, OfAnotherShapeIsNone) {
    const std::string whole = packet_of('l', {"jdoe", "x1"});
    EXPECT_FALSE(is_read("", LoginSide::window));
    EXPECT_FALSE(is_read("z", LoginSide::window));
    EXPECT_FALSE(is_read(whole.substr(0, whole.size() - 1), LoginSide::window));
    EXPECT_FALSE(is_read(whole + "x", LoginSide::window));
    EXPECT_FALSE(is_read(std::string("f\3\0a\0b", 6), LoginSide::window));
    EXPECT_FALSE(is_read(packet_of('q', {"z", "", ""}), LoginSide::login));
    EXPECT_FALSE(is_read(packet_of('s', {"", ""}), LoginSide::login));
    EXPECT_FALSE(
        is_read("l" + std::string("\1\4", 2) + std::string(1025, 'x') + std::string("\0\0", 2), LoginSide::window));
}

TEST(LoginMessage, ALongTextIsCutBetweenCharacters) {
    std::string text(login_text_limit - 4, 'x');
    for (int i = 0; i < 4; ++i) text += "\u20ac";
    LoginMessage got;
    const std::string packet = packet_of('n', {"", text});
    ASSERT_TRUE(login_message_read(packet, LoginSide::login, &got));
    EXPECT_EQ(got.fields[1], std::string(login_text_limit - 4, 'x') + "...");
    const std::string largest(100000, 'x');
    EXPECT_TRUE(is_read(packet_of('p', {"u", largest, largest, largest}), LoginSide::login));
}

TEST(ScriptPlace, CountsTheLinesOfTheScript) {
    const std::string script = "one\r\ntwo\r\nthree\r\n";
    for (const auto &[position, line, text] :
         {std::tuple(3, 1, "one"), std::tuple(5, 1, "one"), std::tuple(7, 2, "two"), std::tuple(17, 3, "three")}) {
        const ScriptPlace place = script_place(script, script, static_cast<size_t>(position));
        EXPECT_EQ(place.in, ScriptPlace::In::script);
        EXPECT_EQ(place.line, static_cast<size_t>(line)) << position;
        EXPECT_EQ(place.text, text);
    }
    EXPECT_EQ(script_place_text(script_place(script, script, 7)), "line 2");
}

TEST(ScriptPlace, TellsWhatIsIncludedFromTheScript) {
    const std::string script = "one\r\nINCLUDE x\r\nthree\r\nfour\r\n";
    const std::string now = "one\r\nINCLUDE x\r\ninner 1\r\ninner 2\r\n\r\nthree\r\nfour\r\n";
    const auto words = [&](const char *line) {
        return script_place_text(script_place(script, now, now.find(line) + 2));
    };
    EXPECT_EQ(words("one"), "line 1");
    EXPECT_EQ(words("INCLUDE"), "line 2");
    EXPECT_EQ(words("inner 1"), "line 1 of what line 2 includes");
    EXPECT_EQ(words("inner 2"), "line 2 of what line 2 includes");
    EXPECT_EQ(words("three"), "line 3");
    EXPECT_EQ(words("four"), "line 4");
}

TEST(ScriptPlace, IsUnknownWithoutTheScript) {
    const ScriptPlace place = script_place("", "MAP X\r\n", 5);
    EXPECT_EQ(place.text, "MAP X");
    EXPECT_EQ(script_place_text(place), "");
    EXPECT_EQ(script_place_text(script_place("longer", "x", 1)), "");
    EXPECT_EQ(script_place("x", "x", 1000).line, 1U);
}

TEST(OutputText, IsCutIntoLinesWhateverThePieces) {
    OutputText output;
    for (const char letter : std::string("a\r\nb\u20ac\n\tc\r")) output.add({&letter, 1});
    EXPECT_EQ(lines_of(&output), (Lines{"a", "b\u20ac"}));
    EXPECT_EQ(output.open(), "\tc");
    output.add("d\n");
    EXPECT_EQ(lines_of(&output), (Lines{"\tc\\x0Dd"}));
}

TEST(OutputText, ShowsWhatAWindowOrATerminalWouldObey) {
    OutputText output;
    output.add("\x1b[31mred\a \xff \u202e\u0085\n");
    EXPECT_EQ(lines_of(&output), (Lines{"\\x1B[31mred\\x07 \\xFF \\xE2\\x80\\xAE\\xC2\\x85"}));
}

TEST(OutputText, MarksALineOfItsOwn) {
    OutputText output;
    output.add("open");
    output.addMarked("wrong");
    output.add("\nnext\n");
    EXPECT_EQ(lines_of(&output), (Lines{"open", "!wrong", "", "next"}));
}

TEST(OutputText, KeepsTheNewestLinesAndCountsTheOthers) {
    OutputText output;
    for (size_t i = 0; i < OutputText::most_lines + 3; ++i) output.add(std::to_string(i) + "\n");
    EXPECT_EQ(output.cut(), 3U);
    EXPECT_EQ(output.take(1).front().text, "3");
    EXPECT_EQ(output.take(2).size(), 2U);
}

TEST(OutputText, BreaksALineWithoutEnd) {
    OutputText output;
    output.add(std::string(5 * OutputText::longest_line, 'x'));
    EXPECT_EQ(lines_of(&output), Lines(4, std::string(OutputText::longest_line, 'x')));
}

TEST(LoginRecord, TheReportHasEverythingInIt) {
    LoginRecord record;
    record.tree = "ACME";
    record.user = "jdoe";
    const auto note = [&](char kind, std::initializer_list<std::string_view> fields) {
        const std::string packet = packet_of(kind, fields);
        LoginMessage message;
        ASSERT_TRUE(login_message_read(packet, LoginSide::login, &message));
        record.note(message);
    };
    note('m', {"c", "line 2", "WRTE \x1b"});
    note('m', {"u", "", "IF without END"});
    note('p', {"p", "line 3", "#backup", "ended with status 3"});
    note('d', {"F", "SRV1/SYS:"});
    note('v', {"A", "b\nc"});
    note('e', {"m", ""});
    EXPECT_EQ(record_report(record, "2026-01-02", "the output\n"),
              "You are logged in, but not everything has worked\n2026-01-02\nTree: ACME\nUser: jdoe\n"
              "\nMistakes in the scripts\n  Container's script, line 2: WRTE \\x1B\n"
              "  User's script, line unknown: IF without END\n"
              "\nPrograms that failed\n  Profile's script, line 3: #backup \u2013 ended with status 3\n"
              "\nDrives\n  F = SRV1/SYS:\n\nVariables that were set\n  A = b c\n\nOutput\nthe output\n");
}

TEST(LoginRecord, LeavesOutWhatIsTooMuchAndSaysSo) {
    LoginRecord record;
    const std::string packet = packet_of('v', {"A", "b"});
    LoginMessage message;
    ASSERT_TRUE(login_message_read(packet, LoginSide::login, &message));
    for (int i = 0; i < 1000; ++i) record.note(message);
    EXPECT_EQ(record.variables.lines.size(), 200U);
    EXPECT_NE(record_report(record, "", "").find("  ... and 800 more\n"), std::string::npos);
}
