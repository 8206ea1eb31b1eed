#include "platform/client/errors.h"

#include <unictype.h>
#include <unistr.h>
#include <cstdio>
#include <new>
#include <string_view>

static std::string last_sentence;

// Neither a control character or mark of direction, which a terminal would obey, nor a line end.
static bool is_harmless(ucs4_t letter) {
    constexpr uint32_t others = UC_CATEGORY_MASK_C | UC_CATEGORY_MASK_Zl | UC_CATEGORY_MASK_Zp;
    return !uc_is_general_category_withtable(letter, others);
}

// What a certificate, a server's answer or a file's name holds is shown, not obeyed.
static std::string printable(std::string_view text) {
    std::string shown;
    for (size_t at = 0; at < text.size();) {
        const auto *bytes = reinterpret_cast<const uint8_t *>(text.data()) + at;
        ucs4_t letter = 0;
        const int size = u8_mbtoucr(&letter, bytes, text.size() - at);
        const bool good = size > 0 && is_harmless(letter);
        const size_t taken = size > 0 ? static_cast<size_t>(size) : 1;
        for (size_t i = 0; i < taken; i++) {
            char hex[5];
            snprintf(hex, sizeof hex, "\\x%02X", bytes[i]);
            shown += good ? std::string(1, text[at + i]) : hex;
        }
        at += taken;
    }
    return shown;
}

void error_keep(const char *sentence) noexcept {
    try {
        last_sentence = printable(sentence);
    } catch (const std::bad_alloc &) {
        return;
    }
}

const std::string &error_kept() {
    return last_sentence;
}
