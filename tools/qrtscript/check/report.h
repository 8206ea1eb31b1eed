// What a check has found, as people and programs read it.
#ifndef TOOLS_QRTSCRIPT_CHECK_REPORT_H
#define TOOLS_QRTSCRIPT_CHECK_REPORT_H

#include <string>
#include <vector>

#include "tools/qrtscript/check/finding.h"

// A script that was checked: `name` is a file's or an object's, "-" for standard input.
struct CheckedScript {
    std::string name;
    std::string text;
    std::string shown; // the text without its passwords: what a report may quote
    Findings findings;
};

// For people: each finding with its line, the piece underlined. Control characters of the scripts are shown harmlessly.
std::string report_text(const std::vector<CheckedScript> &scripts, bool colour);

#endif
