#include <nlohmann/json.hpp>

#include "tools/qrtscript/check/location.h"
#include "tools/qrtscript/check/report.h"

using Json = nlohmann::ordered_json;

// Of the format; grows when a program that reads it would have to change.
constexpr int json_version = 1;

static Json fix_json(const Fix &fix) {
    return {{"offset", fix.begin}, {"length", fix.end - fix.begin}, {"text", utf8_text(fix.text)}};
}

static Json finding_json(const CheckedScript &script, const Lines &lines, Locations *locations,
                         const Finding &finding) {
    const LinePlace at = locations->of(finding);
    Json json = {{"script", utf8_text(script.name)},
                 {"code", finding.code->name},
                 {"severity", severity_name(finding.severity)},
                 {"message", utf8_text(finding.message)},
                 {"line", at.line},
                 {"column", at.column},
                 {"endLine", at.endLine},
                 {"endColumn", at.endColumn},
                 {"offset", finding.place},
                 {"length", finding.length},
                 {"text", utf8_text(line_for_report(lines, at.line))}};
    if (!finding.quotedLine.empty()) json["loginQuotes"] = utf8_text(finding.quotedLine);
    if (finding.fix) json["fix"] = fix_json(*finding.fix);
    return json;
}

std::string report_json(const CheckResult &result) {
    Json json = {{"version", json_version},
                 {"tool", {{"name", "qrtscript check"}, {"version", QRTSCRIPT_VERSION}}},
                 {"scripts", Json::array()},
                 {"findings", Json::array()},
                 {"problems", Json::array()}};
    for (const CheckedScript &script : result.scripts) {
        const Lines lines(script.shown);
        Locations locations(lines);
        json["scripts"].push_back(utf8_text(script.name));
        for (const Finding &finding : script.findings)
            json["findings"].push_back(finding_json(script, lines, &locations, finding));
    }
    for (const std::string &problem : result.problems) json["problems"].push_back(utf8_text(problem));
    return json.dump(2, ' ', true, Json::error_handler_t::replace) + "\n";
}
