// Runs a program, or a function of this one, for no longer than a limit.
#ifndef TOOLS_AUTOMOUNT_LIMITED_PROGRAM_H
#define TOOLS_AUTOMOUNT_LIMITED_PROGRAM_H

#include <functional>
#include <string>
#include <vector>

#include "platform/common/secret.h"

struct ProgramEnd {
    enum class How { exited, ended, silent, notFound };
    How how = How::exited; // ended: by a signal or without having been started; silent: the limit has passed
    int status = 0;        // of `exited`
    std::string output;    // standard output and error, the first 4096 bytes
};

// Runs the program (`words[0]` is its path) with a small fixed environment and no input; `password`, if there is one,
// it can read from the descriptor that PASSWD_FD names. It stays in automount's process group, since for any other one
// the folder to be mounted on is waiting for its mount. At the limit it is killed, with the processes that it has
// started, and left to the kernel: even a program that no signal ends is not waited for. The caller has no other
// children.
ProgramEnd limited_program_run(const std::vector<std::string> &words, const Secret *password, long seconds);

// The same for what may hang in the kernel, such as a folder on a mount whose server is dead: a process of its own
// calls `work` and exits with the status (0 to 255) that it returns. An exception ends the process.
ProgramEnd limited_work_run(const std::function<int()> &work, long seconds);

#endif
