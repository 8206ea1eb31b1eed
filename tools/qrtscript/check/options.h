// The command line of `qrtscript check`.
#ifndef TOOLS_QRTSCRIPT_CHECK_OPTIONS_H
#define TOOLS_QRTSCRIPT_CHECK_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

#include "tools/qrtscript/check/colour.h"
#include "tools/qrtscript/check/directory.h"
#include "tools/qrtscript/check/finding.h"
#include "tools/qrtscript/check/report.h"

struct CheckOptions {
    std::vector<std::string> inputs; // files, folders, "-", with a directory objects
    std::optional<Severity> severity;
    ReportFormat format = ReportFormat::text;
    ColourWhen colour = ColourWhen::automatic;
    bool noIgnore = false;
    std::string baseline, writeBaseline; // files
    bool fix = false, diff = false;
    bool hasDirectory = false; // names are looked up
    DirectoryOptions directory;
    bool forObject = false; // the scripts are to be objects'
    std::string objectName; // what the report calls the one script; empty: as its file
};

// Exit statuses.
constexpr int check_clean = 0, check_found = 1, check_impossible = 2;

// Reads the arguments behind the subcommand's name. Ends the program after --help, and with check_impossible when it
// cannot read them.
CheckOptions check_options(int argc, char **argv);

#endif
