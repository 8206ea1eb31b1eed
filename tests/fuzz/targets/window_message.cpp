// The conversation between libtreelogin and the program with the windows: what either side receives.
//
//     input ::= ask packet      ask: q the packet is a request; d, l, n, y or p it is an answer to such a request
#include "platform/prompt/window_message.h"

#include "tests/fuzz/fuzz.h"

static void check_request(std::string_view packet) {
    WindowRequest request;
    if (!window_request_read(packet, &request)) return;
    FUZZ_CHECK(request.subject.size() <= window_subject_limit);
    FUZZ_CHECK(request.user.size() <= window_name_limit && request.program.size() <= window_name_limit);
    for (const std::string *text : {&request.subject, &request.user, &request.program})
        FUZZ_CHECK(text->find('\0') == text->npos);
    FUZZ_CHECK(window_request_write(request) == packet);
    FUZZ_CHECK(packet.size() <= window_message_limit);
}

static void check_answer(std::string_view packet, WindowAsk ask) {
    WindowAnswer answer;
    if (!window_answer_read(packet, ask, &answer)) {
        FUZZ_CHECK(answer.text.empty() && answer.secret.empty());
        return;
    }
    FUZZ_CHECK(answer.text.size() <= window_name_limit && answer.secret.size() <= window_name_limit);
    const bool isLogin = ask == WindowAsk::login && answer.says == WindowSays::accepted;
    FUZZ_CHECK(answer.secret.empty() != isLogin);
    FUZZ_CHECK(!isLogin || !answer.text.empty());
    FUZZ_CHECK(answer.text.find('\0') == answer.text.npos && answer.secret.find('\0') == answer.secret.npos);
    char again[window_message_limit];
    FUZZ_CHECK(std::string_view(again, window_answer_write(answer, again)) == packet);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    const ExactBytes packet(fuzz_view(data + 1, size - 1));
    if (data[0] == 'q')
        check_request(packet.view());
    else if (strchr("dlnyp", data[0]) != nullptr && data[0] != '\0')
        check_answer(packet.view(), static_cast<WindowAsk>(data[0]));
    return 0;
}
