// Which of a script's findings are shown.
#ifndef TOOLS_QRTSCRIPT_CHECK_SELECTION_H
#define TOOLS_QRTSCRIPT_CHECK_SELECTION_H

#include "tools/qrtscript/check/directory.h"
#include "tools/qrtscript/check/report.h"
#include "tools/qrtscript/check/settings.h"

struct Selection {
    std::optional<Severity> least; // in place of the settings'; without either all are shown
    bool noIgnore = false;         // neither directives nor settings count
};

// A script with those of its findings that are shown, sorted by place: not those that are switched off or below the
// least severity. They have the severities that the settings give them, and tell no password. `directory` may be null.
// Throws std::runtime_error when the directory does not answer.
CheckedScript script_checked(const std::string &name, const Syntax &syntax, const Settings &settings,
                             const Selection &selection, const CheckDirectory *directory = nullptr);

#endif
