// Translations are not trusted: which catalogue the C library reads is up to LANGUAGE, which scripts can set, and a
// translation is used as a printf format. One is taken only when its conversions are those of the message, and a
// LANGUAGE that names a path is not followed.
#ifndef PLATFORM_TRANSLATION_H
#define PLATFORM_TRANSLATION_H

#include <array>
#include <cstring>
#include <string_view>

#include "platform/environment_guard.h"

// The conversions of a printf format by the number of their argument: all that follows "%" or "%1$" up to the letter.
struct TranslationFormat {
    static constexpr size_t most = 9;
    std::array<std::string_view, most> conversions;
    bool valid = true;
};

inline TranslationFormat translation_format(const char *format) {
    TranslationFormat found;
    size_t next = 0;
    bool numbered = false, counted = false;
    for (const char *at = strchr(format, '%'); at != nullptr && found.valid; at = strchr(at, '%')) {
        if (*++at == '%') {
            ++at;
            continue;
        }
        size_t argument = next;
        if (at[0] >= '1' && at[0] <= '9' && at[1] == '$') {
            numbered = true;
            argument = static_cast<size_t>(at[0] - '1');
            at += 2;
        } else {
            counted = true;
            ++next;
        }
        const size_t length = strcspn(at, "diouxXeEfFgGaAcspnmCS%*") + 1;
        found.valid = argument < TranslationFormat::most && at[length - 1] != '\0' && at[length - 1] != '%' &&
                      at[length - 1] != '*' && !(numbered && counted);
        if (!found.valid) break;
        std::string_view &known = found.conversions[argument];
        const std::string_view conversion(at, length);
        found.valid = known.empty() || known == conversion;
        known = conversion;
        at += length;
    }
    return found;
}

// The translation when it takes the same arguments as the message in the same way; otherwise the message.
inline const char *translation_checked(const char *message, const char *translation) {
    if (translation == message) return message;
    const TranslationFormat wanted = translation_format(message), found = translation_format(translation);
    return found.valid && found.conversions == wanted.conversions ? translation : message;
}

// While it lives, translations are not looked up in a folder that LANGUAGE names.
class TranslationGuard {
  public:
    TranslationGuard() : guard_("LANGUAGE", [](const char *value) { return strchr(value, '/') != nullptr; }) {}

  private:
    EnvironmentGuard guard_;
};

#endif
