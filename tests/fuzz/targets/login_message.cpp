// The conversation between qrtlogin and its window: what either side receives, and what the window makes of it.
//
//     input ::= 'w' packet      what the window receives
//             | 'l' packet      what qrtlogin receives
//             | 'o' text        output, in pieces that a zero byte ends
#include "tools/qrtlogin/login_message.h"

#include "platform/terminal_text.h"
#include "tests/fuzz/fuzz.h"
#include "tools/qrtlogin/window/output_text.h"
#include "tools/qrtlogin/window/record.h"

static void check_safe(const std::string &line) {
    TerminalLetter letter;
    for (std::string_view rest = line; !rest.empty(); rest.remove_prefix(letter.bytes.size())) {
        FUZZ_CHECK(terminal_letter(rest, &letter) && letter.valid);
        FUZZ_CHECK(letter.code == '\t' || !terminal_obeys(letter));
    }
}

static void check_written_again(const LoginMessage &message, std::string_view packet, size_t fields) {
    char again[window_message_limit];
    const auto &all = message.fields;
    const size_t size = fields == 0   ? login_message_write(message.kind, {}, again)
                        : fields == 1 ? login_message_write(message.kind, {all[0]}, again)
                        : fields == 2 ? login_message_write(message.kind, {all[0], all[1]}, again)
                        : fields == 3 ? login_message_write(message.kind, {all[0], all[1], all[2]}, again)
                                      : login_message_write(message.kind, {all[0], all[1], all[2], all[3]}, again);
    FUZZ_CHECK(std::string_view(again, size) == packet);
}

// How many fields a packet that was taken has.
static size_t fields_of(std::string_view packet) {
    size_t count = 0;
    std::string_view field;
    for (packet.remove_prefix(1); window_field_take(&packet, window_message_limit, &field);) ++count;
    return count;
}

static void check_message(std::string_view packet, LoginSide from) {
    LoginMessage message;
    if (!login_message_read(packet, from, &message)) {
        FUZZ_CHECK(message.kind == '\0');
        return;
    }
    check_written_again(message, packet, fields_of(packet));
    LoginRecord record;
    check_safe(record.note(message));
    FUZZ_CHECK(!record_report(record, "now", "").empty());
}

static void check_output(std::string_view text) {
    OutputText output;
    while (!text.empty()) {
        const std::string_view piece = text.substr(0, text.find('\0'));
        output.add(piece);
        text.remove_prefix(std::min(piece.size() + 1, text.size()));
    }
    check_safe(output.open());
    for (const OutputLine &line : output.take(OutputText::most_lines)) {
        check_safe(line.text);
        FUZZ_CHECK(line.text.size() < OutputText::longest_line + 4 * terminal_shown_size);
    }
    FUZZ_CHECK(!output.hasLines());
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    const ExactBytes packet(fuzz_view(data + 1, size - 1));
    if (data[0] == 'w') check_message(packet.view(), LoginSide::login);
    if (data[0] == 'l') check_message(packet.view(), LoginSide::window);
    if (data[0] == 'o') check_output(packet.view());
    return 0;
}
