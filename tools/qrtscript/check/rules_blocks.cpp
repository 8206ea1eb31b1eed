#include <string>
#include <vector>

#include "language/grammar.tab.h"
#include "platform/catalogue.h"
#include "tools/qrtscript/check/rules.h"

namespace {

struct Level {
    const Statement *statement; // its IF
    bool hasElse = false;
    const Statement *robber = nullptr; // an IF in it that cannot be read, and has taken an END
};

} // namespace

static TokenRange first_token(const Syntax &syntax, const Statement &statement) {
    const TokenRange body = syntax.body(statement);
    return {body.first, body.first + 1};
}

static void check_else(const Syntax &syntax, const Statement &statement, std::vector<Level> *levels,
                       Findings *findings) {
    const TokenRange keyword = first_token(syntax, statement);
    if (levels->empty()) {
        findings->push_back(
            finding_at(syntax, "QS1006", keyword,
                       catalogue_text("there is no IF for this ELSE: the rest of the script is skipped")));
        return;
    }
    if (levels->back().hasElse)
        findings->push_back(finding_at(syntax, "QS1019", keyword,
                                       catalogue_text("a second ELSE: from here on it is the IF's first part again")));
    levels->back().hasElse = true;
}

// IF condition, a line end, and a statement in the next line.
static void check_missing_then(const Syntax &syntax, const Statement &statement, Findings *findings) {
    const TokenRange body = syntax.body(statement);
    if (statement.kind != Statement::Kind::if_one || body.end == statement.tokens.end) return;
    Finding finding = finding_at(syntax, "QS1020", body,
                                 catalogue_text("without THEN this IF is for the next line only, and takes no END"));
    findings->push_back(std::move(finding));
}

static void report_open_levels(const Syntax &syntax, const std::vector<Level> &levels, Findings *findings) {
    bool jumps = false;
    for (const Statement &statement : syntax.statements) jumps |= statement.kind == Statement::Kind::go_to;
    const Lines lines(syntax.text);
    for (const Level &level : levels) {
        // Put right, it may need none; what it skips until then is told of it.
        if (level.statement->kind == Statement::Kind::if_broken) continue;
        const std::string message =
            level.statement->kind == Statement::Kind::if_one ? catalogue_text("there is no statement for this IF")
            : level.robber == nullptr
                ? catalogue_text("there is no END for this IF")
                : catalogue_format("there is no END for this IF: the one in line %zu, which cannot be read, takes it",
                                   lines.line(syntax.begin(level.robber->tokens)));
        Finding finding = finding_at(syntax, "QS1003", first_token(syntax, *level.statement), message);
        // A login does not report it in a script that has executed a GOTO.
        if (jumps) finding.severity = Severity::warning;
        findings->push_back(std::move(finding));
    }
}

static void close(std::vector<Level> *levels) {
    const Level closed = levels->back();
    levels->pop_back();
    if (levels->empty() || levels->back().robber != nullptr) return;
    levels->back().robber = closed.statement->kind == Statement::Kind::if_broken ? closed.statement : closed.robber;
}

void check_blocks(const Syntax &syntax, Findings *findings) {
    std::vector<Level> levels;
    size_t singles = 0; // IFs that the next statement is the only one of
    for (const Statement &statement : syntax.statements) {
        check_missing_then(syntax, statement, findings);
        switch (statement.kind) {
            case Statement::Kind::if_one:
                ++singles;
                levels.push_back({&statement});
                continue;
            case Statement::Kind::if_block:
            case Statement::Kind::if_broken:
                levels.push_back({&statement});
                break;
            case Statement::Kind::otherwise:
                check_else(syntax, statement, &levels, findings);
                break;
            case Statement::Kind::end:
                if (levels.empty())
                    findings->push_back(finding_at(syntax, "QS1005", first_token(syntax, statement),
                                                   catalogue_text("there is no IF for this END")));
                else
                    close(&levels);
                break;
            default:
                break;
        }
        for (; singles > 0; --singles)
            if (!levels.empty()) levels.pop_back();
    }
    if (syntax.openLevels > 0) report_open_levels(syntax, levels, findings);
}
