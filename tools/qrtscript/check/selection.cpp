#include "tools/qrtscript/check/selection.h"

#include <algorithm>

#include "platform/common/nocase.h"
#include "tools/qrtscript/check/directives.h"
#include "tools/qrtscript/check/rules.h"
#include "tools/qrtscript/check/secrets.h"

static bool is_letter(char c) {
    return (lower_case(c) >= 'a' && lower_case(c) <= 'z') || (c >= '0' && c <= '9');
}

// A message quotes the piece that it is about: each time that stands there for itself, not as a part of a word.
static std::string masked_message(std::string message, const std::string &piece, const std::string &shown) {
    for (size_t at = message.find(piece); at != std::string::npos; at = message.find(piece, at + piece.size())) {
        const size_t end = at + piece.size();
        const bool isPart = (at > 0 && is_letter(message[at - 1]) && is_letter(piece.front())) ||
                            (end < message.size() && is_letter(message[end]) && is_letter(piece.back()));
        if (!isPart) message.replace(at, piece.size(), shown);
    }
    return message;
}

static void mask_secrets(const Syntax &syntax, const std::string &masked, Finding *finding) {
    finding->quotedLine = secrets_masked(finding->quotedLine);
    const std::string piece = syntax.text.substr(std::min(finding->place, syntax.text.size()), finding->length);
    const std::string shown = masked.substr(std::min(finding->place, masked.size()), finding->length);
    if (piece != shown) finding->message = masked_message(std::move(finding->message), piece, shown);
}

CheckedScript script_checked(const std::string &name, const Syntax &syntax, const Settings &settings,
                             const Selection &selection, const CheckDirectory *directory) {
    const Directives directives(syntax);
    Findings all = check_script(syntax, directory, name);
    const std::string masked = secrets_masked(syntax.text);
    CheckedScript script = {name, syntax.text, without_secrets(masked, all), {}};
    all.insert(all.end(), directives.findings().begin(), directives.findings().end());
    std::stable_sort(all.begin(), all.end(), [](const Finding &a, const Finding &b) { return a.place < b.place; });
    Severity least = selection.least.value_or(Severity::style);
    if (!selection.least && !selection.noIgnore) least = settings.severity.value_or(least);

    for (Finding &finding : all) {
        if (!selection.noIgnore) {
            if (settings.disabled.count(finding.code) != 0 || directives.hide(finding)) continue;
            const auto severity = settings.severities.find(finding.code);
            if (severity != settings.severities.end()) finding.severity = severity->second;
        }
        if (finding.severity < least) continue;
        mask_secrets(syntax, masked, &finding);
        script.findings.push_back(std::move(finding));
    }
    return script;
}
