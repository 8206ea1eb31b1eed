#include "tools/qrtscript/check/selection.h"

#include "tools/qrtscript/check/directives.h"
#include "tools/qrtscript/check/rules.h"
#include "tools/qrtscript/check/secrets.h"

CheckedScript script_checked(const std::string &name, const Syntax &syntax, const Settings &settings,
                             const Selection &selection, const CheckDirectory *directory) {
    const Directives directives(syntax);
    Findings all = check_script(syntax, directory, name);
    CheckedScript script = {name, syntax.text, without_secrets(secrets_masked(syntax), all), {}};
    Findings others = directives.findings();
    secrets_hide(syntax, script.shown, &others);
    for (Finding &other : others) all.push_back(std::move(other));
    findings_sort(&all, [](const Finding &a, const Finding &b) { return a.place < b.place; });
    Severity least = selection.least.value_or(Severity::style);
    if (!selection.least && !selection.noIgnore) least = settings.severity.value_or(least);

    script.findings.reserve(all.size());
    for (Finding &finding : all) {
        if (!selection.noIgnore) {
            if (settings.disabled.count(finding.code) != 0 || directives.hide(finding)) continue;
            const auto severity = settings.severities.find(finding.code);
            if (severity != settings.severities.end()) finding.severity = severity->second;
        }
        if (finding.severity < least) continue;
        script.findings.push_back(std::move(finding));
    }
    return script;
}
