// Which of a script's findings are shown.
#ifndef TOOLS_QRTSCRIPT_CHECK_SELECTION_H
#define TOOLS_QRTSCRIPT_CHECK_SELECTION_H

#include "tools/qrtscript/check/settings.h"

struct Selection {
    std::optional<Severity> least; // in place of the settings'; without either all are shown
    bool noIgnore = false;         // neither directives nor settings count
};

// The script's findings and those about its directives, sorted by place, with the severities that the settings give
// them and without those that are switched off or below the least severity. No message shows a password.
Findings findings_selected(const Syntax &syntax, const Settings &settings, const Selection &selection);

#endif
