// The command lines of "qrtscript plan" and "qrtscript run".
#ifndef TOOLS_QRTSCRIPT_PLAN_OPTIONS_H
#define TOOLS_QRTSCRIPT_PLAN_OPTIONS_H

#include <array>
#include <optional>
#include <string>

#include "tools/qrtlogin/options.h"

enum PlanStatus : int {
    plan_clean = 0,    // planned, and no mistake in the scripts
    plan_mistakes = 1, // the scripts have mistakes for the user
    plan_failed = 2    // could not plan
};

struct PlanOptions {
    std::optional<std::string> user; // none with --all-users
    std::optional<std::string> tree, context, server;
    std::optional<std::string> as; // who reads the directory
    int passwordDescriptor = -1;
    std::optional<std::string> script; // a file, or "-"
    std::optional<std::string> profileScript;
    std::optional<std::string> otherScript; // of --diff
    std::array<std::optional<std::string>, options_variables> variables;
    std::optional<std::string> asOf, environmentFile;
    bool allUsers = false, summary = false;
    std::optional<std::string> container;
    bool json = false;
};

// Reads the words behind "plan". A wrong command line ends the process with plan_failed and --help with 0, each after
// its text.
void plan_options_parse(int argc, char **argv, PlanOptions *options);

#endif
