// The command line of qrtlogin.
#ifndef TOOLS_QRTLOGIN_OPTIONS_H
#define TOOLS_QRTLOGIN_OPTIONS_H

#include <array>
#include <optional>
#include <string>

// The script variables that a caller may set: %2 to %5.
inline constexpr int options_first_variable = 2;
inline constexpr int options_variables = 4;

struct Options {
    std::string user; // as typed; never empty after options_parse, except for a logout, or when a window asks for it
    std::optional<std::string> tree;
    std::optional<std::string> context;
    std::optional<std::string> server;
    std::optional<std::string> profileScript;
    std::optional<std::string> loginScript;
    std::array<std::optional<std::string>, options_variables> variables;
    std::optional<int> debugLevel; // without one no trace is shown, whatever the scripts say
    int passwordDescriptor = -1;   // -1: ask on the terminal
    int tries = 3;                 // how often a person may type a password
    bool changePassword = false;   // instead of running the scripts
    bool gui = false;              // show the login in a window
    bool keepWindow = false;       // also after one without mistakes
    bool rawOutput = false;
    std::optional<int> timeLimit; // of the scripts, in seconds; 0: none
    bool shell = false;
    bool printEnvironment = false;
    bool allVariables = false; // hand on also the variables that run code
    bool logout = false;       // instead of a login; nothing else is set then
    char **command = nullptr;  // what follows "--", ended by a null pointer; null without one

    // Whether something gets the environment after the scripts.
    bool handsOn() const { return command != nullptr || shell || printEnvironment; }
};

// Reads the command line. A wrong one ends the process with status 64 and --help with 0, each after its text. `command`
// points into `argv`.
void options_parse(int argc, char **argv, Options *options);

#endif
