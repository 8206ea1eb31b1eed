#include "platform/client/core/errors.h"

#include <unictype.h>
#include <new>

#include "platform/terminal_text.h"

static std::string last_sentence;

// Control characters and marks of direction, which a terminal would obey, line ends, and what is not valid UTF-8.
static bool is_harmful(const TerminalLetter &letter) {
    constexpr uint32_t harmful = UC_CATEGORY_MASK_C | UC_CATEGORY_MASK_Zl | UC_CATEGORY_MASK_Zp;
    return !letter.valid || uc_is_general_category_withtable(letter.code, harmful);
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
