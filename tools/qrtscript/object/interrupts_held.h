// An interrupt comes when what has been begun is done or taken back, and it has been said what was done.
#ifndef TOOLS_QRTSCRIPT_OBJECT_INTERRUPTS_HELD_H
#define TOOLS_QRTSCRIPT_OBJECT_INTERRUPTS_HELD_H

#include <csignal>

class InterruptsHeld {
  public:
    InterruptsHeld() {
        sigset_t held;
        sigemptyset(&held);
        for (const int number : numbers) sigaddset(&held, number);
        sigprocmask(SIG_BLOCK, &held, &before_);
    }
    InterruptsHeld(const InterruptsHeld &) = delete;
    InterruptsHeld &operator=(const InterruptsHeld &) = delete;
    ~InterruptsHeld() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

    bool hasCome() const {
        sigset_t waiting;
        sigpending(&waiting);
        for (const int number : numbers) {
            struct sigaction action = {};
            sigaction(number, nullptr, &action);
            if (sigismember(&waiting, number) == 1 && action.sa_handler != SIG_IGN) return true;
        }
        return false;
    }

  private:
    static constexpr int numbers[] = {SIGINT, SIGTERM, SIGHUP};
    sigset_t before_ = {};
};

#endif
