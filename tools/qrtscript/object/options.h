// The command lines of the subcommands that keep login scripts in the directory.
#ifndef TOOLS_QRTSCRIPT_OBJECT_OPTIONS_H
#define TOOLS_QRTSCRIPT_OBJECT_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

struct ObjectOptions {
    std::string program;               // "qrtscript put", for messages
    std::optional<std::string> tree;   // none: the configuration's default tree
    std::string context;               // where names are relative to
    std::optional<std::string> as;     // who logs in; none: nobody
    int passwordDescriptor = -1;       // -1: the password is asked for
    std::optional<std::string> backup; // the folder that keeps former scripts
    bool yes = false;                  // nothing is asked
    bool force = false;                // also a script with errors
    bool verbose = false;
    bool dryRun = false;
    bool prune = false;
    bool remove = false;
    std::vector<std::string> operands; // OBJECT [FILE], or DIRECTORY
};

// Exit statuses beside those of tools/qrtlogin/failure.h, which mean the same here.
constexpr int exit_differs = 1;      // of diff; otherwise the answer was no
constexpr int exit_findings = 6;     // the script has errors, or could not be checked
constexpr int exit_changed = 7;      // somebody else has changed the script meanwhile
constexpr int exit_editor = 8;       // the editor failed
constexpr int exit_not_created = 73; // a file cannot be written

// Reads the arguments; argv[0] is the subcommand's name. Ends the program after --help, and with status 64 when it
// cannot read them.
ObjectOptions object_options(int argc, char **argv);

#endif
