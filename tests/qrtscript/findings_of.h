// What is shown of a script's findings, for tests of the parts.
#ifndef TESTS_QRTSCRIPT_FINDINGS_OF_H
#define TESTS_QRTSCRIPT_FINDINGS_OF_H

#include <gtest/gtest.h>
#include <string>

#include "tools/qrtscript/check/report.h"
#include "tools/qrtscript/check/selection.h"

// "2:QS1008 5:QS1001": lines and codes.
inline std::string shown_of(const std::string &text, const Settings &settings = {}, const Selection &selection = {}) {
    const Syntax syntax = syntax_read(text);
    const Lines lines(syntax.text);
    std::string all;
    for (const Finding &finding : script_checked("a", syntax, settings, selection).findings)
        all += (all.empty() ? "" : " ") + std::to_string(lines.line(finding.place)) + ":" + finding.code->name;
    return all;
}

inline CheckedScript checked_script(const std::string &name, const std::string &text) {
    return script_checked(name, syntax_read(text), {}, {});
}

#endif
