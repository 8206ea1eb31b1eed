#include "platform/client/core/fold.h"

#include <unicase.h>
#include <uninorm.h>
#include <unistr.h>
#include <cstdlib>
#include <memory>
#include <new>

std::string fold_letters(std::string_view value) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(value.data());
    if (u8_check(bytes, value.size()) != nullptr) return std::string(value);
    size_t length = 0;
    std::unique_ptr<uint8_t, decltype(&free)> normal(u8_normalize(UNINORM_NFKC, bytes, value.size(), nullptr, &length),
                                                     &free);
    if (normal == nullptr) throw std::bad_alloc();
    std::string folded;
    for (size_t at = 0; at < length;) {
        ucs4_t letter = 0;
        at += static_cast<size_t>(u8_mbtouc(&letter, normal.get() + at, length - at));
        uint8_t small[4];
        const int size = u8_uctomb(small, uc_tolower(letter), sizeof small);
        folded.append(reinterpret_cast<const char *>(small), static_cast<size_t>(size));
    }
    return folded;
}
