// Answers written into a caller's memory, which need not be aligned.
#ifndef PLATFORM_CLIENT_INTERFACE_ANSWERS_H
#define PLATFORM_CLIENT_INTERFACE_ANSWERS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "platform/client/core/errors.h"

inline void put_number(uint32_t number, void *to) {
    memcpy(to, &number, sizeof number);
}

inline uint32_t take_number(const void *from) {
    uint32_t number;
    memcpy(&number, from, sizeof number);
    return number;
}

// The text and a NUL. Throws CodedError, ZKE_BUFFER_TOO_SMALL, when they take more than `size` bytes.
inline void put_text(std::string_view text, size_t size, void *to) {
    error_unless(text.size() < size, ZKE_BUFFER_TOO_SMALL);
    memcpy(to, text.data(), text.size());
    static_cast<char *>(to)[text.size()] = '\0';
}

// The same for a name, for which callers have ZK_MAX_NAME bytes and one for the NUL.
inline void put_name(std::string_view name, char *to) {
    put_text(name, ZK_MAX_NAME + 1, to);
}

#endif
