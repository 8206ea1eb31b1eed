#include "base/output.h"

#include <libintl.h>

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdarg>
#include <ctime>

#include "platform/translation.h"

int32_t fd[2] = {0, 0};
FILE *fdr = nullptr;
int32_t debug_level = 0;
uint8_t bLogFileOutput = 1;
FILE *fpLogFileOutput = nullptr;

const char *output_translate(const char *message) {
    // The catalogue of an empty message is its header, never a text for the user.
    if (*message == '\0') return message;
    const TranslationGuard guard;
    return translation_checked(message, dcgettext(nullptr, message, LC_MESSAGES));
}

static bool pipe_signal_is_pending() {
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
}

PipeSignal output_hold_pipe_signal() {
    PipeSignal held = {};
    sigset_t hold;
    sigemptyset(&hold);
    sigaddset(&hold, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &hold, &held.before);
    held.pending = sigismember(&held.before, SIGPIPE) == 1 && pipe_signal_is_pending();
    return held;
}

void output_release_pipe_signal(const PipeSignal &held, FILE *written) {
    if (ferror(written) != 0 && !held.pending) {
        sigset_t taken;
        sigemptyset(&taken);
        sigaddset(&taken, SIGPIPE);
        const timespec at_once = {};
        sigtimedwait(&taken, nullptr, &at_once);
    }
    pthread_sigmask(SIG_SETMASK, &held.before, nullptr);
}

int say(const char *message, ...) {
    if (!fdr) return 0;
    const PipeSignal held = output_hold_pipe_signal();
    va_list arguments;
    va_start(arguments, message);
    vfprintf(fdr, output_translate(message), arguments);
    va_end(arguments);
    const int flushed = fflush(fdr);
    output_release_pipe_signal(held, fdr);
    return flushed;
}

void output_put(std::string_view text) {
    if (!fdr) return;
    const PipeSignal held = output_hold_pipe_signal();
    fwrite(text.data(), 1, text.size(), fdr);
    fflush(fdr);
    output_release_pipe_signal(held, fdr);
}

void output_print(const char *format, ...) {
    const PipeSignal held = output_hold_pipe_signal();
    va_list arguments;
    va_start(arguments, format);
    vprintf(format, arguments);
    va_end(arguments);
    fflush(stdout);
    output_release_pipe_signal(held, stdout);
}

void output_trace(TracedFunction function, int line, const char *format, ...) {
    const PipeSignal held = output_hold_pipe_signal();
    va_list arguments;
    va_start(arguments, format);
    printf("--DEBUG--%s:%i ", function.name, line);
    vprintf(format, arguments);
    putchar('\n');
    va_end(arguments);
    fflush(stdout);
    output_release_pipe_signal(held, stdout);
}
