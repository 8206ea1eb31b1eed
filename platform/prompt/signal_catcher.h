// The signals that break off a question (SIGHUP, SIGINT, SIGQUIT, SIGTERM), for as long as one is asked.
#ifndef PLATFORM_PROMPT_SIGNAL_CATCHER_H
#define PLATFORM_PROMPT_SIGNAL_CATCHER_H

#include <csignal>
#include <utility>

// While it lives, these signals end the wait for input (a program's own handler is usually installed so that reads go
// on). They are let in only during that wait, so that none slips in just before it. Afterwards the old handlers stand
// again and the signal is raised once more, for them.
class SignalCatcher {
  public:
    enum class Wait { input, timeout, signal };

    SignalCatcher();
    ~SignalCatcher();
    SignalCatcher(const SignalCatcher &) = delete;
    SignalCatcher &operator=(const SignalCatcher &) = delete;

    // Waits until the descriptor has something to read, or its other end is closed; for so many milliseconds at most,
    // or without a limit if negative.
    Wait waitFor(int descriptor, int milliseconds = -1) const;

  private:
    // Each with its old handler.
    std::pair<int, struct sigaction> caught_[4] = {{SIGHUP, {}}, {SIGINT, {}}, {SIGQUIT, {}}, {SIGTERM, {}}};
    sigset_t mask_;
};

#endif
