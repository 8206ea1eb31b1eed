// What the check finds, and what is to be done about it; and the usual style.

#include <algorithm>

#include "platform/catalogue.h"
#include "tools/qrtscript/check/code_pages.h"
#include "tools/qrtscript/check/format.h"
#include "tools/qrtscript/check/lsp_document.h"

// An editor that is handed a whole novel as a script need not show all that is wrong with it.
constexpr size_t most_diagnostics = 1000;

static int severity_number(Severity severity) {
    switch (severity) {
        case Severity::error:
            return 1;
        case Severity::warning:
            return 2;
        case Severity::style:
            return 3;
    }
    return 3;
}

static Json diagnostic(const LspDocument &document, const Finding &finding) {
    return {{"range", document.range(finding.place, finding.place + finding.length)},
            {"severity", severity_number(finding.severity)},
            {"code", finding.code->name},
            {"source", "qrtscript"},
            {"message", finding.message},
            {"data", {{"explanation", code_page(finding.code->name)}}}};
}

Json lsp_diagnostics(LspDocument &document) {
    Json list = Json::array();
    for (const Finding &finding : document.findings()) {
        if (list.size() == most_diagnostics) break;
        list.push_back(diagnostic(document, finding));
    }
    return list;
}

// Whether the client wants actions of the kind: it names none, or this one, or one that this belongs to.
static bool wants(const Json &context, const std::string &kind) {
    if (!context.contains("only")) return true;
    const Json &only = context.at("only");
    return std::any_of(only.begin(), only.end(), [&](const Json &one) {
        const auto &wanted = one.get_ref<const std::string &>();
        return wanted.empty() || kind == wanted || kind.compare(0, wanted.size() + 1, wanted + ".") == 0;
    });
}

Json lsp_code_actions(LspDocument &document, const Json &params) {
    Json list = Json::array();
    if (!wants(params.at("context"), "quickfix")) return list;
    const Json &range = params.at("range");
    const size_t begin = document.offset(range.at("start")), end = document.offset(range.at("end"));
    for (const Finding &finding : document.findings()) {
        if (!finding.fix || finding.place > end || finding.place + finding.length < begin) continue;
        const Fix &fix = *finding.fix;
        const Json edits = Json::array({document.edit(fix.begin, fix.end, fix.text)});
        const Json changes = {{document.uri(), edits}};
        list.push_back({{"title", catalogue_format("Fix %s", finding.code->name)},
                        {"kind", "quickfix"},
                        {"isPreferred", true},
                        {"diagnostics", Json::array({diagnostic(document, finding)})},
                        {"edit", {{"changes", changes}}}});
    }
    return list;
}

// Line by line, so that the cursor and the marks of an editor stay where they are.
Json lsp_formatting(LspDocument &document) {
    const std::string &before = document.text().text();
    const std::string after = script_formatted(document.syntax(), {});
    Json list = Json::array();
    size_t old = 0, now = 0;
    while (old < before.size()) {
        const size_t oldEnd = std::min(before.find('\n', old), before.size() - 1) + 1;
        if (now == after.size()) {
            list.push_back(document.edit(old, before.size(), ""));
            break;
        }
        const size_t nowEnd = std::min(after.find('\n', now), after.size() - 1) + 1;
        const std::string line = after.substr(now, nowEnd - now);
        if (before.compare(old, oldEnd - old, line) != 0) list.push_back(document.edit(old, oldEnd, line));
        old = oldEnd;
        now = nowEnd;
    }
    return list;
}
