// One run of the login scripts, their output included.
#ifndef TOOLS_QRTLOGIN_RUN_H
#define TOOLS_QRTLOGIN_RUN_H

#include <cstdio>
#include <string>

#include "tools/qrtlogin/options.h"
#include "tools/qrtlogin/secret.h"

// Runs the scripts of the user who has just logged in to `tree`; each line of their output appears on `output` as it
// comes. The password is wiped when they have ended. Returns the run's own result, 0 or 1; throws Failure.
int run_scripts(const Options &options, const std::string &tree, Secret *password, FILE *output);

#endif
