// The check finds what a login reports: random scripts are read by both.
#include <gmock/gmock.h>
#include <algorithm>
#include <random>

#include "tests/support/process.h"
#include "tools/qrtscript/check/rules.h"

namespace {

// Neither GOTO, EXIT nor INCLUDE, and nothing that acts outside of the process.
const char *const pieces[] = {
    "WRITE",
    "SET",
    "IF",
    "THEN",
    "ELSE",
    "END",
    "ENDIF",
    "DRIVE",
    "CONTEXT",
    "PROFILE",
    "SHIFT",
    "FIRE",
    "PHASER",
    "DISPLAY",
    "REM",
    "CLS",
    "TERM",
    "SWAP",
    "DOS",
    "TEMP",
    "LOCAL",
    "BREAK",
    "ON",
    "OFF",
    "VALUE",
    "NOT",
    "AND",
    "OR",
    "NOR",
    "IS",
    "EQUALS",
    "MEMBER OF \"g\"",
    "BEGIN",
    "DO",
    "LABEL:",
    ":X",
    "=",
    "<>",
    "<=",
    ">",
    "(",
    ")",
    ";",
    "+",
    "-",
    "*",
    "/",
    "%",
    "\"a\"",
    "\"b %CN\"",
    "\"0",
    "word",
    "CN",
    "%CN",
    "%<HOME>",
    "x.y",
    "\\",
    ":",
    "!",
    "NO_DEFAULT",
    "LASTLOGINTIME",
    "SCRIPT_SERVER",
    "REGREAD \"k\"",
    "COMSPEC",
    "VERIFY",
    "SET_TIME",
    "\t",
    "\r",
};
const char *const lines[] = {
    "WRITE \"x\"",
    "IF \"a\" = \"b\" THEN",
    "IF \"a\" = \"a\" THEN",
    "END",
    "ELSE",
    "SET X = \"1\"",
    "FOO 1",
    "REM x",
    "",
    "IF \"a\" = \"a\" THEN WRITE \"one\"",
    "IF \"a\" = \"b\"",
    "WRITE",
    "BAR",
};

std::string random_script(std::mt19937 *random) {
    const auto below = [&](size_t count) { return std::uniform_int_distribution<size_t>(0, count - 1)(*random); };
    std::string text;
    for (size_t line = 0, count = below(12); line < count; ++line) {
        if (below(2) == 0)
            text += lines[below(std::size(lines))];
        else
            for (size_t piece = 0, words = below(7); piece < words; ++piece)
                text += std::string(pieces[below(std::size(pieces))]) + (below(4) == 0 ? "" : " ");
        text += below(8) == 0 ? "\r\n" : "\n";
    }
    if (below(10) == 0 && !text.empty()) text.pop_back();
    return text;
}

struct Reports {
    std::vector<std::string> quoted; // lines
    bool openIf = false;
};

// What a login says of a script.
Reports reports_of(const std::string &output) {
    static const std::string start = "Script error.\nThe original line was:\n";
    Reports reports;
    for (size_t at = output.find(start); at != output.npos; at = output.find(start, at + 1)) {
        const size_t line = at + start.size();
        reports.quoted.push_back(output.substr(line, output.find('\n', line) - line));
    }
    reports.openIf = output.find("Warning, unmatched IF") != output.npos;
    return reports;
}

std::vector<std::string> outputs_of(const TempFolder &folder, const std::vector<std::string> &scripts) {
    Words words = {READ_SCRIPTS_PATH};
    for (size_t i = 0; i < scripts.size(); ++i) {
        folder.write(std::to_string(i), scripts[i]);
        words.push_back(folder.path(std::to_string(i)));
    }
    Variables environment = process_environment();
    environment["PATH"] = "/nonexistent";
    environment["ZKCLIENT_CONF"] = "/nonexistent";
    const Outcome outcome = process_run(words, environment);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    std::vector<std::string> outputs;
    size_t at = 0;
    for (size_t i = 0; i < scripts.size(); ++i) {
        const std::string head = "\n(script " + words[i + 1] + ")\n";
        at = outcome.out.find(head, at) + head.size();
        outputs.push_back(outcome.out.substr(at, outcome.out.find("\n(script ", at) - at));
    }
    return outputs;
}

// What may be a password is hidden by the check.
bool quotes(const std::vector<std::string> &quoted, const std::string &line) {
    const auto same = [](char shown, char written) { return shown == written || shown == '*'; };
    return std::any_of(quoted.begin(), quoted.end(), [&](const std::string &one) {
        return std::equal(one.begin(), one.end(), line.begin(), line.end(), same);
    });
}

void expect_same(const std::string &script, const std::string &output) {
    const Reports reports = reports_of(output);
    std::vector<std::string> quoted;
    const Syntax syntax = syntax_read(script);
    // An IF that cannot be read is the same finding with its END and without.
    bool openIf = syntax.openLevels > 0 &&
                  std::any_of(syntax.statements.begin(), syntax.statements.end(),
                              [](const Statement &statement) { return statement.kind == Statement::Kind::if_broken; });
    bool endsEarly = false;
    for (const Finding &finding : check_script(syntax)) {
        if (finding.severity != Severity::error) continue;
        const std::string code = finding.code->name;
        if (code == "QS1003")
            openIf = true;
        else if (!finding.quotedLine.empty())
            quoted.push_back(finding.quotedLine);
        if (code == "QS1016") endsEarly = true;
    }
    // An IF whose own statement is cut off has nothing else wrong with it.
    EXPECT_EQ(openIf || endsEarly, reports.openIf || endsEarly) << script << output;
    EXPECT_EQ(quoted.empty(), reports.quoted.empty()) << script << output;
    for (const std::string &line : reports.quoted) EXPECT_TRUE(quotes(quoted, line)) << line << script << output;
}

} // namespace

TEST(CheckAgrees, WithALoginOverRandomScripts) {
    std::mt19937 random(20261123);
    std::vector<std::string> scripts(2000);
    for (std::string &script : scripts) script = random_script(&random);
    const TempFolder folder;
    const std::vector<std::string> outputs = outputs_of(folder, scripts);
    for (size_t i = 0; i < scripts.size() && !HasFailure(); ++i) expect_same(scripts[i], outputs[i]);
}
