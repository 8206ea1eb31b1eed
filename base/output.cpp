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

static sigset_t pipe_signal() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
}

static bool pipe_signal_is_pending() {
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
}

// One thread at a time writes, so that one count is enough.
static int pipe_guards = 0;
static bool callers_own_is_pending = false;

PipeGuard::PipeGuard() {
    if (pipe_guards++ > 0) return;
    const sigset_t hold = pipe_signal();
    pthread_sigmask(SIG_BLOCK, &hold, &before_);
    callers_own_is_pending = sigismember(&before_, SIGPIPE) == 1 && pipe_signal_is_pending();
}

PipeGuard::~PipeGuard() {
    if (--pipe_guards == 0) pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

// Flushes, and takes away the signal that a reader who is gone has raised.
static int flush(FILE *stream) {
    const int result = fflush(stream);
    if (ferror(stream) != 0 && !callers_own_is_pending) {
        const sigset_t taken = pipe_signal();
        const timespec atOnce = {};
        sigtimedwait(&taken, nullptr, &atOnce);
    }
    return result;
}

int say(const char *message, ...) {
    if (fdr == nullptr) return 0;
    const PipeGuard held;
    va_list arguments;
    va_start(arguments, message);
    vfprintf(fdr, output_translate(message), arguments);
    va_end(arguments);
    return flush(fdr);
}

void output_put(std::string_view text) {
    if (fdr == nullptr) return;
    const PipeGuard held;
    fwrite(text.data(), 1, text.size(), fdr);
    flush(fdr);
}

void output_print(const char *format, ...) {
    const PipeGuard held;
    va_list arguments;
    va_start(arguments, format);
    vprintf(format, arguments);
    va_end(arguments);
    flush(stdout);
}

void output_trace(TracedFunction function, int line, const char *format, ...) {
    const PipeGuard held;
    va_list arguments;
    va_start(arguments, format);
    printf("--DEBUG--%s:%i ", function.name, line);
    vprintf(format, arguments);
    putchar('\n');
    va_end(arguments);
    flush(stdout);
}
