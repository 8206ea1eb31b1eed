#include "platform/client/errors.h"

#include <cstring>

#include "platform/client/boundary.h"

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

uint32_t ZKGetLastErrorText(uint32_t size, char *text) {
    return guarded([&]() -> uint32_t {
        if (text == nullptr || size == 0) {
            return ZKE_BAD_PARAMETER;
        }
        size_t length = last_sentence.size() < size ? last_sentence.size() : size - 1;
        memcpy(text, last_sentence.data(), length);
        text[length] = '\0';
        return ZK_OK;
    });
}
