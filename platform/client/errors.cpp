#include "platform/client/errors.h"

#include <new>

static std::string last_sentence;

void error_keep(const char *sentence) noexcept {
    try {
        last_sentence = sentence;
    } catch (const std::bad_alloc &) {
        return;
    }
}

const std::string &error_kept() {
    return last_sentence;
}
