// Signals that end the process come when a file is whole, and no part of it is left in its folder.
#ifndef TOOLS_QRTSCRIPT_OBJECT_SIGNALS_HELD_H
#define TOOLS_QRTSCRIPT_OBJECT_SIGNALS_HELD_H

#include <csignal>

class SignalsHeld {
  public:
    SignalsHeld() {
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_SETMASK, &all, &before_);
    }
    SignalsHeld(const SignalsHeld &) = delete;
    SignalsHeld &operator=(const SignalsHeld &) = delete;
    ~SignalsHeld() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

  private:
    sigset_t before_ = {};
};

#endif
