#include "platform/prompt/signal_catcher.h"

#include <poll.h>
#include <cerrno>

static volatile sig_atomic_t interrupted_by;

static void note_signal(int signal) {
    interrupted_by = signal;
}

SignalCatcher::SignalCatcher() {
    interrupted_by = 0;
    struct sigaction catching = {};
    catching.sa_handler = note_signal;
    sigset_t held = {};
    for (const auto &one : caught_) sigaddset(&held, one.first);
    pthread_sigmask(SIG_BLOCK, &held, &mask_);
    for (auto &[number, before] : caught_) sigaction(number, &catching, &before);
}

SignalCatcher::~SignalCatcher() {
    for (const auto &[number, before] : caught_) sigaction(number, &before, nullptr);
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
    raise(interrupted_by); // 0 is no signal
}

SignalCatcher::Wait SignalCatcher::waitFor(int descriptor, int milliseconds) const {
    pollfd input = {};
    input.fd = descriptor;
    input.events = POLLIN;
    timespec limit = {milliseconds / 1000, milliseconds % 1000 * 1000000L};
    for (;;) {
        const int ready = ppoll(&input, 1, milliseconds < 0 ? nullptr : &limit, &mask_);
        if (ready > 0) return Wait::input;
        if (ready == 0) return Wait::timeout;
        if (errno != EINTR || interrupted_by != 0) return Wait::signal;
    }
}
