// What a check has found, as people and programs read it. Names, messages and lines are in the scripts' bytes; each
// format makes them harmless in its own way. No format shows a secret of the script.
#ifndef TOOLS_QRTSCRIPT_CHECK_REPORT_H
#define TOOLS_QRTSCRIPT_CHECK_REPORT_H

#include <optional>
#include <string>
#include <vector>

#include "tools/qrtscript/check/finding.h"
#include "tools/qrtscript/check/scripts.h"

// A script that was checked: `name` is a file's or an object's, "-" for standard input.
struct CheckedScript {
    std::string name;
    std::string text;
    std::string shown; // the text without its passwords: what a report may quote
    Findings findings;
};

// A whole check: its scripts, and what could not be checked.
struct CheckResult {
    std::vector<CheckedScript> scripts;
    Problems problems;
};

enum class ReportFormat { text, gcc, json, sarif, github };

// "text", "gcc", "json", "sarif", "github".
std::optional<ReportFormat> report_format_named(std::string_view name);

// For people: each finding with its line, the piece underlined.
std::string report_text(const CheckResult &result, bool colour);
// FILE:LINE:COLUMN: SEVERITY: MESSAGE [CODE], as compilers write it; columns are bytes.
std::string report_gcc(const CheckResult &result);
// Commands of GitHub's workflows, which show findings beside the lines.
std::string report_github(const CheckResult &result);
// The project's own JSON (docs/check.md), and SARIF 2.1.0. Both are ASCII: other characters are escaped, and a
// byte that is not valid UTF-8 becomes U+FFFD.
std::string report_json(const CheckResult &result);
std::string report_sarif(const CheckResult &result);

std::string report(const CheckResult &result, ReportFormat format, bool colour);

#endif
