#include <algorithm>
#include <string>
#include <string_view>

#include "tools/qrtscript/check/rules.h"

static bool is_about_secret(const Finding &finding) {
    const std::string_view name = finding.code->name;
    return name == "QS5001" || name == "QS5002";
}

static void replace_all(std::string *text, const std::string &old) {
    for (size_t at = text->find(old); !old.empty() && at != text->npos; at = text->find(old, at + old.size()))
        text->replace(at, old.size(), old.size(), '*');
}

static void hide_secrets(const std::string &text, Findings *findings) {
    std::vector<std::string> secrets;
    for (const Finding &finding : *findings)
        if (is_about_secret(finding)) secrets.push_back(text.substr(finding.place, finding.length));
    for (Finding &finding : *findings)
        for (const std::string &secret : secrets) {
            replace_all(&finding.message, secret);
            replace_all(&finding.quotedLine, secret);
        }
}

std::string without_secrets(std::string text, const Findings &findings) {
    for (const Finding &finding : findings)
        if (is_about_secret(finding)) text.replace(finding.place, finding.length, finding.length, '*');
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
    std::stable_sort(findings.begin(), findings.end(), before);
    hide_secrets(syntax.text, &findings);
    return findings;
}
