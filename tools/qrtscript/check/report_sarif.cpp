#include <map>
#include <nlohmann/json.hpp>

#include "tools/qrtscript/check/code_pages.h"
#include "tools/qrtscript/check/location.h"
#include "tools/qrtscript/check/report.h"

using Json = nlohmann::ordered_json;

static const char *sarif_level(Severity severity) {
    return severity == Severity::style ? "note" : severity_name(severity);
}

// ---- where ----

// A file's name as a URI, relative like the name.
static std::string uri_of(const std::string &name) {
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
    std::string uri = name.substr(0, 1) == "/" ? "file://" : "";
    char code[8];
    for (const char c : name)
        if (plain.find(c) != plain.npos) {
            uri += c;
        } else {
            snprintf(code, sizeof code, "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
            uri += code;
        }
    return uri;
}

static Json region_of(const Lines &lines, Locations *locations, const Finding &finding) {
    const LinePlace at = locations->of(finding);
    return {{"startLine", at.line},
            {"startColumn", at.column},
            {"endLine", at.endLine},
            {"endColumn", at.endColumn},
            {"snippet", {{"text", utf8_text(line_for_report(lines, at.line))}}}};
}

// What stays the same when lines are inserted above (FNV-1a of the code and the line).
static std::string fingerprint(const Lines &lines, const Finding &finding) {
    uint64_t hash = 0xCBF29CE484222325;
    const auto add = [&](std::string_view text) {
        for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    };
    add(finding.code->name);
    add(line_for_report(lines, lines.line(finding.place)));
    char digits[17];
    snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(hash));
    return digits;
}

// ---- what ----

static Json fix_of(const CheckedScript &script, const Fix &fix) {
    const Json replacement = {{"deletedRegion", {{"byteOffset", fix.begin}, {"byteLength", fix.end - fix.begin}}},
                              {"insertedContent", {{"text", utf8_text(fix.text)}}}};
    const Json change = {{"artifactLocation", {{"uri", uri_of(script.name)}}},
                         {"replacements", Json::array({replacement})}};
    return {{"artifactChanges", Json::array({change})}};
}

// The codes that are found, by their places in the list of rules.
using Rules = std::map<const Code *, size_t>;

static Json result_of(const CheckedScript &script, const Lines &lines, Locations *locations, const Finding &finding,
                      const Rules &rules) {
    const Json place = {{"artifactLocation", {{"uri", uri_of(script.name)}}},
                        {"region", region_of(lines, locations, finding)}};
    Json result = {{"ruleId", finding.code->name},
                   {"ruleIndex", rules.at(finding.code)},
                   {"level", sarif_level(finding.severity)},
                   {"message", {{"text", utf8_text(finding.message)}}},
                   {"locations", Json::array({{{"physicalLocation", place}}})},
                   {"partialFingerprints", {{"codeAndLine/v1", fingerprint(lines, finding)}}}};
    if (finding.fix) result["fixes"] = Json::array({fix_of(script, *finding.fix)});
    return result;
}

static Rules rules_of(const CheckResult &result) {
    Rules rules;
    for (const CheckedScript &script : result.scripts)
        for (const Finding &finding : script.findings) rules[finding.code] = 0;
    size_t place = 0;
    for (auto &[code, index] : rules) index = place++;
    return rules;
}

static Json rules_json(const Rules &rules) {
    Json all = Json::array();
    for (const auto &[code, index] : rules) {
        Json rule = {{"id", code->name},
                     {"shortDescription", {{"text", code->title}}},
                     {"defaultConfiguration", {{"level", sarif_level(code->severity)}}}};
        const std::string page(code_page(code->name));
        if (!page.empty()) rule["help"] = {{"text", page}, {"markdown", page}};
        all.push_back(std::move(rule));
    }
    return all;
}

static Json invocation(const CheckResult &result) {
    Json notifications = Json::array();
    for (const std::string &problem : result.problems)
        notifications.push_back({{"level", "error"}, {"message", {{"text", utf8_text(problem)}}}});
    return {{"executionSuccessful", result.problems.empty()}, {"toolExecutionNotifications", notifications}};
}

std::string report_sarif(const CheckResult &result) {
    const Rules rules = rules_of(result);
    Json results = Json::array();
    for (const CheckedScript &script : result.scripts) {
        const Lines lines(script.shown);
        Locations locations(lines);
        for (const Finding &finding : script.findings)
            results.push_back(result_of(script, lines, &locations, finding, rules));
    }
    const Json driver = {
        {"name", "qrtscript check"}, {"semanticVersion", QRTSCRIPT_VERSION}, {"rules", rules_json(rules)}};
    const Json run = {{"tool", {{"driver", driver}}},
                      {"columnKind", "unicodeCodePoints"},
                      {"invocations", Json::array({invocation(result)})},
                      {"results", results}};
    const Json log = {{"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
                      {"version", "2.1.0"},
                      {"runs", Json::array({run})}};
    return log.dump(2, ' ', true, Json::error_handler_t::replace) + "\n";
}
