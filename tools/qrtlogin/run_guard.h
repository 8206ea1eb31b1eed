// Ends a run of the scripts that does not end by itself: at the third interrupt within two seconds, at the time limit,
// and when it is cancelled in the login's window. It does so from a thread of its own, so that neither a program that
// does not start nor a network share that hangs can prevent it. The library's own handling of an interrupt stays as it
// is; the guard only counts them.
//
// A run that is ended is the end of the process, with a status of its own. Before that the scripts' programs are ended,
// the password is wiped, the terminal gets back its settings, and what the scripts have written is shown; none of it
// may take more than a few seconds.
#ifndef TOOLS_QRTLOGIN_RUN_GUARD_H
#define TOOLS_QRTLOGIN_RUN_GUARD_H

#include <optional>

#include "platform/common/secret.h"
#include "tools/qrtlogin/login_window.h"

// One at a time. To be made when the output relay has begun, by the thread that runs the scripts, and to be gone before
// the relay ends.
class RunGuard {
  public:
    // `seconds` is the time limit of the scripts (time_limit_of). With a window (or null) the run is also ended when
    // the person cancels it there. Throws Failure.
    RunGuard(std::optional<int> seconds, Secret *password, LoginWindow *window = nullptr);
    ~RunGuard();
    RunGuard(const RunGuard &) = delete;
    RunGuard &operator=(const RunGuard &) = delete;
};

#endif
