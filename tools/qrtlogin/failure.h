// How qrtlogin ends when it cannot do its work: one exit status for each kind of failure, and one line of text.
#ifndef TOOLS_QRTLOGIN_FAILURE_H
#define TOOLS_QRTLOGIN_FAILURE_H

#include <cstdint>
#include <stdexcept>
#include <string>

#include "platform/terminal_text.h"

enum ExitStatus : int {
    exit_done = 0,
    exit_password = 2,  // wrong, none, not changed, or the account is locked
    exit_directory = 3, // not reachable, or its data unreadable
    exit_tree = 4,      // none, or unknown
    exit_user = 5,      // unknown
    exit_usage = 64,
    exit_no_script = 66, // a script file that is not there or cannot be read
    exit_system = 71,    // memory, a process or a descriptor that the system does not have
    exit_output = 74,    // cannot be written
    exit_time_limit = 124,
    exit_cannot_run = 126,
    exit_not_found = 127,
    exit_interrupted = 130
};

// In front of messages: "qrtlogin", unless another program that logs a user in sets its own.
extern const char *failure_program;

class Failure : public std::runtime_error {
  public:
    // `text` may quote what comes from elsewhere: a terminal obeys nothing of it.
    Failure(int status, const std::string &text) : std::runtime_error(terminal_text(text)), status_(status) {}
    int status() const { return status_; }

  private:
    int status_;
};

// The failure that a code of the directory client stands for. `attempt` begins the text ("cannot log in as jdoe to
// ACME"); where the client knows more (a file and a line), that is added.
Failure failure_of(uint32_t code, const std::string &attempt);

#endif
