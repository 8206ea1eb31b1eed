#include "platform/client/core/errors.h"

#include <new>

#include "platform/client/core/letters.h"
#include "platform/terminal_text.h"

static std::string last_sentence;

static bool is_harmful(const TerminalLetter &letter) {
    return !letter.valid || letter_is_harmful(letter.code);
}

void error_keep(const char *sentence) noexcept {
    try {
        last_sentence = terminal_text(sentence, is_harmful);
    } catch (const std::bad_alloc &) {
        return;
    }
}

const std::string &error_kept() {
    return last_sentence;
}
