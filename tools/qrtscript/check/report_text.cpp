#include <algorithm>
#include <cstdio>

#include "platform/catalogue.h"
#include "platform/terminal_text.h"
#include "tools/qrtscript/check/location.h"
#include "tools/qrtscript/check/report.h"

namespace {

struct Painter {
    bool colour;
    std::string paint(const char *code, const std::string &text) const {
        return colour ? std::string("\x1b[") + code + "m" + text + "\x1b[0m" : text;
    }
    std::string severity(Severity severity) const {
        static constexpr const char *colours[] = {"36", "35", "1;31"};
        return paint(colours[static_cast<size_t>(severity)], severity_name(severity));
    }
};

} // namespace

// The line as a terminal shows it, and which part of that the bytes from `from` to `to` of it became.
struct ShownLine {
    std::string text;
    size_t from, width; // in columns
};

static ShownLine shown_line(std::string_view line, size_t from, size_t to) {
    const auto shown = [&](size_t begin, size_t end) {
        std::string part(line.substr(begin, end - begin));
        std::replace(part.begin(), part.end(), '\t', ' ');
        return terminal_text(part);
    };
    // Of a line that no person has written only what is around the piece.
    constexpr size_t around = 200;
    from = std::min(from, line.size());
    to = std::clamp(to, from, std::min(line.size(), from + around));
    const size_t begin = from > around ? from - around : 0, end = std::min(line.size(), to + around);
    const std::string before = (begin > 0 ? "..." : "") + shown(begin, from), piece = shown(from, to);
    return {before + piece + shown(to, end) + (end < line.size() ? "..." : ""), column_count(before),
            std::max<size_t>(1, column_count(piece))};
}

static std::string report_finding(const CheckedScript &script, const Lines &lines, Locations *locations,
                                  const Finding &finding, const Painter &painter) {
    const size_t number = lines.line(finding.place);
    const size_t start = lines.start(number);
    const ShownLine line =
        shown_line(lines.text(number), finding.place - start, finding.place + finding.length - start);
    const std::string head = terminal_text(script.name) + ":" + std::to_string(number) + ":" +
                             std::to_string(locations->of(finding).column) + ":";
    const std::string margin = std::to_string(number);
    std::string text = painter.paint("1", head) + " " + painter.severity(finding.severity) + ": " +
                       terminal_text(finding.message) + " [" + finding.code->name + "]\n";
    text += "  " + margin + " | " + line.text + "\n";
    text += "  " + std::string(margin.size(), ' ') + " | " + std::string(line.from, ' ') +
            painter.paint("32", "^" + std::string(line.width - 1, '~')) + "\n";
    // The line of the mistake is there already.
    if (!finding.quotedLine.empty() && finding.quotedLine != lines.text(number))
        text += "  " + std::string(margin.size(), ' ') + " = " +
                catalogue_format("a login quotes the line: %s", terminal_text(finding.quotedLine).c_str()) + "\n";
    return text;
}

static std::string report_summary(const std::vector<CheckedScript> &scripts) {
    unsigned long counts[3] = {};
    for (const CheckedScript &script : scripts)
        for (const Finding &finding : script.findings) ++counts[static_cast<size_t>(finding.severity)];
    const auto count = [&](Severity severity) { return counts[static_cast<size_t>(severity)]; };
    const unsigned long errors = count(Severity::error), warnings = count(Severity::warning);
    const unsigned long styles = count(Severity::style);
    if (errors + warnings + styles == 0) return "";
    char text[256];
    std::string summary;
    const auto add = [&](unsigned long number) {
        if (number != 0) summary += (summary.empty() ? "" : ", ") + std::string(text);
    };
    snprintf(text, sizeof text, catalogue_plural("%lu error", "%lu errors", errors), errors);
    add(errors);
    snprintf(text, sizeof text, catalogue_plural("%lu warning", "%lu warnings", warnings), warnings);
    add(warnings);
    snprintf(text, sizeof text, catalogue_plural("%lu remark on style", "%lu remarks on style", styles), styles);
    add(styles);
    return summary + "\n";
}

std::string report_text(const CheckResult &result, bool colour) {
    const Painter painter = {colour};
    std::string text;
    for (const CheckedScript &script : result.scripts) {
        const Lines lines(script.shown);
        Locations locations(lines);
        for (const Finding &finding : script.findings)
            text += report_finding(script, lines, &locations, finding, painter);
    }
    return text + report_summary(result.scripts);
}
