#include <string>

#include "tools/qrtscript/check/rules.h"
#include "tools/qrtscript/check/secrets.h"

std::string without_secrets(std::string text, const Findings &findings) {
    for (const Finding &finding : findings)
        if (finding_is_about_secret(finding)) text.replace(finding.place, finding.length, finding.length, '*');
    return text;
}

Findings check_script(const Syntax &syntax, const CheckDirectory *directory, const std::string &name) {
    Findings findings;
    for (const auto rule :
         {check_mistakes, check_blocks, check_labels, check_text, check_conditions, check_programs, check_drives})
        rule(syntax, &findings);
    check_includes(syntax, name, directory, &findings);
    if (directory != nullptr) check_with_directory(syntax, *directory, &findings);
    const auto before = [](const Finding &a, const Finding &b) {
        return a.place != b.place ? a.place < b.place : a.code < b.code;
    };
    findings_sort(&findings, before);
    secrets_hide(syntax, without_secrets(secrets_masked(syntax), findings), &findings);
    return findings;
}
