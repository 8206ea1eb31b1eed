#include "frame/output.h"

#include <libintl.h>

#include <cerrno>
#include <clocale>
#include <cstdarg>

int32_t fd[2] = {0, 0};
FILE *fdr = nullptr;
int32_t debug_level = 0;
uint8_t bLogFileOutput = 1;
FILE *fpLogFileOutput = nullptr;

const char *output_translate(const char *message) {
    // The catalogue of an empty message is its header, never a text for the user.
    return *message ? dcgettext(nullptr, message, LC_MESSAGES) : message;
}

int say(const char *message, ...) {
    if (!fdr) return 0;
    va_list arguments;
    va_start(arguments, message);
    vfprintf(fdr, output_translate(message), arguments);
    va_end(arguments);
    return fflush(fdr);
}

void output_put(std::string_view text) {
    if (!fdr) return;
    fwrite(text.data(), 1, text.size(), fdr);
    fflush(fdr);
}

void output_trace(const char *function, int line, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    printf("--DEBUG--%s:%i ", function, line);
    vprintf(format, arguments);
    putchar('\n');
    va_end(arguments);
    fflush(stdout);
}
