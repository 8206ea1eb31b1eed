// Translated messages for the client, the prompts and the programs. All of them are in one text domain, which is always
// passed explicitly, so that the calling program's current domain does not matter. The domain is not bound to a
// directory here: the C library's default directory is used unless the script library, or a program of this project
// (tools/own_folder.h), has bound another one. Messages are in English until the program has set its locale.
#ifndef PLATFORM_CATALOGUE_H
#define PLATFORM_CATALOGUE_H

#include <libintl.h>
#include <cstdarg>
#include <cstdio>
#include <string>

#include "platform/translation.h"

inline constexpr char catalogue_domain[] = "brasca-client-script";

// The translation of a message, or the message itself.
inline const char *catalogue_text(const char *message) __attribute__((format_arg(1)));
inline const char *catalogue_text(const char *message) {
    const TranslationGuard guard;
    return translation_checked(message, dgettext(catalogue_domain, message));
}

// The translation of a message about `count` things: `one` is the English singular, `many` the plural.
inline const char *catalogue_plural(const char *one, const char *many, unsigned long count)
    __attribute__((format_arg(1), format_arg(2)));
inline const char *catalogue_plural(const char *one, const char *many, unsigned long count) {
    const TranslationGuard guard;
    const char *english = count == 1 ? one : many;
    const char *found = dngettext(catalogue_domain, one, many, count);
    // The English forms may differ: the singular may omit the number.
    return found == one || found == many || translation_checked(many, found) == found ? found : english;
}

// Marks a message for the catalogue that is translated later, by catalogue_text or by argp.
constexpr const char *catalogue_mark(const char *message) noexcept {
    return message;
}

// The translation of a message with its arguments in their places. If a message has two or more, they are numbered
// ("%1$s"), so that translations can reorder them.
inline std::string catalogue_format(const char *message, ...) __attribute__((format(printf, 1, 2)));
inline std::string catalogue_format(const char *message, ...) {
    va_list arguments, again;
    va_start(arguments, message);
    va_copy(again, arguments);
    const int length = vsnprintf(nullptr, 0, catalogue_text(message), arguments);
    std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    vsnprintf(text.data(), text.size() + 1, catalogue_text(message), again);
    va_end(again);
    va_end(arguments);
    return text;
}

#endif
