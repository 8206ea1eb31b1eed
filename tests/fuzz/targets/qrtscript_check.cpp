// `qrtscript check` over any script: reading, the rules, directives, settings, baselines, fixes and every report.
//
//     input ::= script [ NUL settings ]        settings: a .qrtscriptrc
//
// No format has a byte that a terminal would obey, the JSON ones are valid, and no round of fixes makes a mistake.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "tests/fuzz/fuzz.h"
#include "tools/qrtscript/check/baseline.h"
#include "tools/qrtscript/check/fixes.h"
#include "tools/qrtscript/check/selection.h"

static bool has_control(std::string_view text) {
    for (size_t at = 0; at < text.size(); ++at) {
        const auto byte = static_cast<unsigned char>(text[at]);
        if ((byte < 0x20 && byte != '\n') || byte == 0x7F) return true;
        if (byte == 0xC2 && at + 1 < text.size() && (static_cast<unsigned char>(text[at + 1]) & 0xE0) == 0x80)
            return true;
    }
    return false;
}

static void check_places(const CheckedScript &script) {
    FUZZ_CHECK(script.shown.size() == script.text.size());
    for (const Finding &finding : script.findings) {
        FUZZ_CHECK(finding.place <= script.text.size());
        FUZZ_CHECK(finding.length <= script.text.size() - finding.place);
        if (!finding.fix) continue;
        FUZZ_CHECK(finding.fix->begin <= finding.fix->end);
        FUZZ_CHECK(finding.fix->end <= script.text.size());
    }
}

static void check_reports(const CheckResult &result) {
    for (const ReportFormat format :
         {ReportFormat::text, ReportFormat::gcc, ReportFormat::json, ReportFormat::sarif, ReportFormat::github})
        FUZZ_CHECK(!has_control(report(result, format, false)));
    const auto json = nlohmann::json::parse(report_json(result));
    FUZZ_CHECK(json["findings"].size() == result.scripts[0].findings.size());
    const auto sarif = nlohmann::json::parse(report_sarif(result));
    FUZZ_CHECK(sarif["runs"][0]["results"].size() == result.scripts[0].findings.size());
}

static void check_baseline(CheckedScript script) {
    Baseline written("baseline");
    written.add(script);
    Baseline known("baseline");
    known.read(written.json());
    FUZZ_CHECK(known.count() == script.findings.size());
    known.hide(&script);
    FUZZ_CHECK(script.findings.empty());
}

static long error_count(const Findings &findings) {
    return std::count_if(findings.begin(), findings.end(),
                         [](const Finding &finding) { return finding.severity == Severity::error; });
}

static void check_fixes(const CheckedScript &script) {
    const auto check = [](const std::string &text) {
        return script_checked("-", syntax_read(text), {}, {Severity::style, true}).findings;
    };
    const FixedText fixed = text_fixed(script.text, check);
    FUZZ_CHECK((fixed.count == 0) == (fixed.text == script.text));
    FUZZ_CHECK(error_count(check(fixed.text)) <= error_count(script.findings));
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string_view rest = fuzz_view(data, size);
    // The script may have NULs, too: the last one divides.
    const size_t end = rest.rfind('\0');
    const std::string_view text = rest.substr(0, end);
    const std::string_view rules = end == rest.npos ? "" : rest.substr(end + 1);
    Settings settings;
    try {
        settings = settings_of_text("rc", rules);
    } catch (const SettingsError &error) {
        FUZZ_CHECK(std::string_view(error.what()).substr(0, 3) == "rc:");
    }
    const Syntax syntax = syntax_read(text);
    CheckResult result;
    result.scripts.push_back(script_checked("-", syntax, settings, {}));
    const CheckedScript all = script_checked("-", syntax, settings, {Severity::style, true});
    FUZZ_CHECK(result.scripts[0].findings.size() <= all.findings.size());
    check_places(all);
    check_reports(result);
    result.scripts[0] = all;
    result.problems.emplace_back(rules);
    check_reports(result);
    check_baseline(all);
    check_fixes(all);
    return 0;
}
