// The prompts on the terminal: what the person types.
//
//     input ::= prompt label NUL offered NUL typed      prompt: l login, c confirmation, p pause, i preparing
//     typed ::= { byte | 0xF8 event }                   events: i interrupt, h hangup, r an interrupted wait,
//                                                               e the end of input
//
// The terminal is world/terminal.h's: nothing is read from the real one.
#include "platform/treelogin.h"

#include <algorithm>

#include "platform/prompt/terminal_prompt.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/world/terminal.h"

static void check_answer(const char *text) {
    FUZZ_CHECK(text[0] != '\0');
    FUZZ_CHECK(strlen(text) <= Secret::usual_capacity);
}

static void ask_login(const char *label, const char *offered) {
    char untouched[] = "";
    char *user = untouched, *password = untouched;
    if (auxlogin_c(label, offered, &user, &password) != 0) {
        FUZZ_CHECK(user == untouched && password == untouched);
        return;
    }
    FUZZ_CHECK(user != untouched && password != untouched);
    check_answer(user);
    check_answer(password);
    FUZZ_CHECK(!strchr(user, '\n') || strcmp(user, offered) == 0);
    FUZZ_CHECK(!strchr(password, '\n'));
    free(user);
    free(password);
}

// Only control characters are shown as bytes, and none reaches the terminal but the line feed.
static void check_safe(std::string_view text) {
    const std::string safe = terminal_safe_text(text);
    const bool plain =
        std::all_of(text.begin(), text.end(), [](char c) { return (c >= ' ' && c < 0x7F) || c == '\n'; });
    FUZZ_CHECK(!plain || safe == text);
    for (char c : safe) FUZZ_CHECK(static_cast<unsigned char>(c) >= ' ' || c == '\n');
    FUZZ_CHECK(safe.find('\x7F') == std::string::npos && safe.find("\xC2\x9B") == std::string::npos);
    FUZZ_CHECK(terminal_safe_text(safe) == safe);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    std::string_view rest = fuzz_view(data + 1, size - 1);
    ExactText label(fuzz_take(rest, '\0')), offered(fuzz_take(rest, '\0'));
    terminal_start(rest);
    switch (data[0]) {
        case 'c': {
            const int answer = auxconfirm_g(label.data(), "question", 1, 12);
            FUZZ_CHECK(answer == 4 || answer == 0);
            break;
        }
        case 'p': {
            const int answer = auxpause_script();
            FUZZ_CHECK(answer == 0 || answer == 1);
            break;
        }
        case 'i':
            FUZZ_CHECK(auxinit_g() == 1); // no display is named
            break;
        default:
            ask_login(label.data(), offered.data());
    }
    terminal_check_end();
    check_safe(label.data());
    return 0;
}
