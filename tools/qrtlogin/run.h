// One run of the login scripts, their output included.
#ifndef TOOLS_QRTLOGIN_RUN_H
#define TOOLS_QRTLOGIN_RUN_H

#include <string>

#include "platform/common/secret.h"
#include "tools/qrtlogin/login_window.h"
#include "tools/qrtlogin/options.h"
#include "tools/qrtlogin/output_relay.h"

struct RunResult {
    int status = 0;           // 1: the last script had a syntax error, or a mapping of it failed
    bool hasMistakes = false; // seen by the window
    int outputError = 0;      // errno of the first output that could not be written, or 0
};

// Runs the scripts of the user who has just logged in to `tree`; their output is shown through `relay`. The password
// becomes the library's, for TREE statements, which wipes it in the end; `password` is wiped before the scripts run.
// A run that does not end ends the process (run_guard.h). With a window, `fullName` is the complete name of the user.
// Throws Failure.
RunResult run_scripts(const Options &options, const std::string &tree, Secret *password, OutputRelay *relay,
                      LoginWindow *window = nullptr, const std::string &fullName = "");

#endif
