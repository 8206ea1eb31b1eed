#include "platform/terminal_text.h"
#include "tools/qrtscript/check/location.h"
#include "tools/qrtscript/check/report.h"

// ---- gcc ----

static const char *gcc_severity(Severity severity) {
    return severity == Severity::style ? "note" : severity_name(severity);
}

std::string report_gcc(const CheckResult &result) {
    std::string text;
    for (const CheckedScript &script : result.scripts) {
        const Lines lines(script.shown);
        Locations locations(lines);
        for (const Finding &finding : script.findings) {
            const LinePlace at = locations.of(finding);
            text += terminal_text(script.name) + ":" + std::to_string(at.line) + ":" + std::to_string(at.byteColumn) +
                    ": " + gcc_severity(finding.severity) + ": " + terminal_text(finding.message) + " [" +
                    finding.code->name + "]\n";
        }
    }
    return text;
}

// ---- github ----

static const char *github_command(Severity severity) {
    return severity == Severity::style ? "notice" : severity_name(severity);
}

// What a value of a command may not contain. Line ends are escaped as the runner wants it; other control characters, as
// the runner's log is read on terminals, too.
static std::string github_text(std::string_view text, std::string_view escaped) {
    const auto isHidden = [](const TerminalLetter &letter) {
        return terminal_obeys(letter) && letter.code != '\n' && letter.code != '\r';
    };
    std::string shown;
    char code[8];
    for (const char c : utf8_text(terminal_text(text, isHidden)))
        if (escaped.find(c) == escaped.npos) {
            shown += c;
        } else {
            snprintf(code, sizeof code, "%%%02X", static_cast<unsigned>(c));
            shown += code;
        }
    return shown;
}

static std::string github_message(std::string_view text) {
    return github_text(text, "%\r\n");
}

static std::string github_property(std::string_view text) {
    return github_text(text, "%\r\n:,");
}

std::string report_github(const CheckResult &result) {
    std::string text;
    for (const CheckedScript &script : result.scripts) {
        const Lines lines(script.shown);
        Locations locations(lines);
        for (const Finding &finding : script.findings) {
            const LinePlace at = locations.of(finding);
            text += std::string("::") + github_command(finding.severity) + " file=" + github_property(script.name) +
                    ",line=" + std::to_string(at.line) + ",endLine=" + std::to_string(at.endLine);
            // Columns are for pieces of one line.
            if (at.line == at.endLine)
                text += ",col=" + std::to_string(at.column) + ",endColumn=" + std::to_string(at.endColumn);
            text += std::string(",title=") + finding.code->name + "::" + github_message(finding.message) + "\n";
        }
    }
    for (const std::string &problem : result.problems)
        text += "::error title=qrtscript check::" + github_message(problem) + "\n";
    return text;
}
