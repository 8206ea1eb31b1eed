#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "language/grammar.tab.h"
#include "platform/catalogue.h"
#include "platform/common/nearest_name.h"
#include "platform/common/nocase.h"
#include "script/labels.h"
#include "tools/qrtscript/check/rules.h"

namespace {

struct Label {
    const Statement *statement; // cppcheck-suppress unusedStructMember
    std::string name;
    TokenRange tokens;
};

// One reading of the jumps of a script.
class Jumps {
  public:
    Jumps(const Syntax &syntax, Findings *findings);
    void checkLabels();
    void checkGotos();
    void checkUnreachable();
    // EXIT and GOTO leave the levels of the IFs around them as they are.
    void checkOpenLevels();

  private:
    std::optional<size_t> target(const Statement &jump) const;
    void checkPlace(const Label &label);
    void checkLoop(size_t jump, size_t from);
    bool leaves(size_t statement, size_t from, size_t jump) const;
    const std::string &nearestLabel(const std::string &name);
    bool isConditional(size_t statement) const { return branches_[statement] != 0; }

    const Syntax &syntax_;
    Findings *findings_;
    std::vector<Label> labels_;
    std::vector<size_t> branches_;
    // A script of very many loops inside one another is not read again for each to the end.
    size_t leftToRead_ = 1000000;
    std::set<std::string> labelNames_;           // in lower case
    std::map<std::string, std::string> nearest_; // of the names that no jump finds
};

} // namespace

static std::string lowered(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(), lower_case);
    return name;
}

// The name that the words of a label or a GOTO make.
static std::string name_of(const Syntax &syntax, TokenRange tokens) {
    std::string name;
    for (size_t token = tokens.first; token < tokens.end; ++token) name += syntax.spelling(syntax.tokens[token]);
    return name;
}

static TokenRange operand_tokens(const Syntax &syntax, const Statement &statement) {
    return syntax.phrases[statement.operands.front()].tokens;
}

Jumps::Jumps(const Syntax &syntax, Findings *findings)
    : syntax_(syntax), findings_(findings), branches_(syntax_branches(syntax)) {
    labels_forget();
    for (const Statement &statement : syntax.statements) {
        if (statement.kind != Statement::Kind::label) continue;
        const TokenRange tokens = operand_tokens(syntax, statement);
        labels_.push_back({&statement, name_of(syntax, tokens), tokens});
        labelNames_.insert(lowered(labels_.back().name));
    }
}

// Where a jump to the name goes on, as the library finds it.
static std::optional<size_t> place_behind(const Syntax &syntax, const std::string &name) {
    constexpr size_t longest = 77; // a login refuses longer ones
    if (name.size() > longest) return {};
    const std::optional<int32_t> found = labels_find(syntax.text, name);
    if (!found) return {};
    return static_cast<size_t>(*found);
}

void Jumps::checkPlace(const Label &label) {
    const Statement &statement = *label.statement;
    const size_t start = syntax_.begin(syntax_.body(statement));
    const size_t end = syntax_.end(statement.tokens);
    const std::optional<size_t> found = place_behind(syntax_, label.name);
    if (found && *found > start && *found <= end) return;
    const size_t lineStart = start == 0 ? 0 : syntax_.text.rfind('\n', start - 1) + 1;
    if (lineStart == 0) {
        findings_->push_back(
            finding_at(syntax_, "QS1009", label.tokens,
                       catalogue_text("a label on the first line is never found: put a line before it")));
        return;
    }
    if (start > lineStart) {
        Finding finding = finding_at(syntax_, "QS1010", label.tokens,
                                     catalogue_text("a label is found only at the very start of its line"));
        // Where another line answers to the name, GOTO would go elsewhere afterwards.
        if (!found) finding.fix = {lineStart, start, ""};
        findings_->push_back(std::move(finding));
        return;
    }
    if (!found)
        findings_->push_back(finding_at(syntax_, "QS1010", syntax_.body(statement),
                                        catalogue_text("a label has no blank before or behind its colon")));
    else
        findings_->push_back(
            finding_at(syntax_, "QS1012", label.tokens,
                       catalogue_format("GOTO %s goes to an earlier line, never to this one", label.name.c_str())));
}

void Jumps::checkLabels() {
    for (const Label &label : labels_)
        if (label.tokens.end - label.tokens.first == 1 && syntax_.tokens[label.tokens.first].kind != STRING)
            findings_->push_back(finding_at(syntax_, "QS1013", label.tokens,
                                            catalogue_text("a reserved word as a label: no GOTO can name it")));
        else
            checkPlace(label);
}

// The statement that a jump goes on with; one behind the last for the end of the script.
std::optional<size_t> Jumps::target(const Statement &jump) const {
    const std::optional<size_t> behind = place_behind(syntax_, name_of(syntax_, operand_tokens(syntax_, jump)));
    if (!behind) return {};
    const auto isBefore = [&](const Statement &one) { return syntax_.end(one.tokens) <= *behind; };
    const auto found = std::partition_point(syntax_.statements.begin(), syntax_.statements.end(), isBefore);
    return static_cast<size_t>(found - syntax_.statements.begin());
}

bool Jumps::leaves(size_t statement, size_t from, size_t jump) const {
    const Statement &one = syntax_.statements[statement];
    switch (one.kind) {
        case Statement::Kind::exit:
        case Statement::Kind::include_file: // may exit
        case Statement::Kind::include_object:
            return true;
        case Statement::Kind::go_to: {
            const std::optional<size_t> to = target(one);
            return to && (*to < from || *to > jump);
        }
        default:
            return false;
    }
}

// An unconditional jump back.
void Jumps::checkLoop(size_t jump, size_t from) {
    if (from > jump || isConditional(jump)) return;
    for (size_t statement = from; statement < jump; ++statement) {
        if (leftToRead_ == 0 || leaves(statement, from, jump)) return;
        --leftToRead_;
    }
    findings_->push_back(
        finding_at(syntax_, "QS1015", syntax_.body(syntax_.statements[jump]),
                   catalogue_text("this loop has no EXIT and no GOTO that leaves it: the login never ends")));
}

// The label that a name which is not found was probably meant to be, or that name itself where it stands in vain; empty
// when none is near. All labels are compared for the first names only.
const std::string &Jumps::nearestLabel(const std::string &name) {
    constexpr size_t most_compared = 50;
    const auto [found, isNew] = nearest_.emplace(name, "");
    if (!isNew) return found->second;
    if (labelNames_.count(lowered(name)) != 0) {
        found->second = name;
    } else if (nearest_.size() <= most_compared) {
        std::vector<std::string_view> names;
        for (const Label &label : labels_) names.push_back(label.name);
        found->second = nearest_name(name, names);
    }
    return found->second;
}

void Jumps::checkGotos() {
    for (size_t place = 0; place < syntax_.statements.size(); ++place) {
        const Statement &jump = syntax_.statements[place];
        if (jump.kind != Statement::Kind::go_to) continue;
        const TokenRange tokens = operand_tokens(syntax_, jump);
        if (tokens.end - tokens.first == 1 && syntax_.tokens[tokens.first].kind != STRING) continue; // QS1002
        const std::string name = name_of(syntax_, tokens);
        const std::optional<size_t> to = target(jump);
        if (to) {
            const size_t behind = *place_behind(syntax_, name);
            const bool isBeginning = behind < syntax_.text.size() && behind > name.size() &&
                                     syntax_.text[behind - name.size() - 1] == ':' &&
                                     labelNames_.count(lowered(name)) == 0;
            if (isBeginning)
                findings_->push_back(finding_at(
                    syntax_, "QS1011", tokens,
                    catalogue_format("there is no label %s: this goes into the line of a label that begins with it",
                                     name.c_str())));
            checkLoop(place, *to);
            continue;
        }
        const std::string &nearest = nearestLabel(name);
        const bool isThere = equal_nocase(nearest, name);
        findings_->push_back(finding_at(
            syntax_, "QS1008", tokens,
            isThere
                ? catalogue_format("the label %s is never found where it stands: this GOTO does nothing", name.c_str())
            : nearest.empty() ? catalogue_format("there is no label %s: this GOTO does nothing", name.c_str())
                              : catalogue_format("there is no label %1$s: this GOTO does nothing; did you mean %2$s?",
                                                 name.c_str(), nearest.c_str())));
    }
}

// What comes behind an unconditional EXIT or GOTO, up to the next label or the end of the block.
void Jumps::checkUnreachable() {
    const auto ends = [](Statement::Kind kind) {
        return kind == Statement::Kind::label || kind == Statement::Kind::end || kind == Statement::Kind::otherwise;
    };
    bool reached = true;
    for (size_t place = 0; place < syntax_.statements.size(); ++place) {
        const Statement &statement = syntax_.statements[place];
        if (ends(statement.kind)) reached = true;
        const bool silent = statement.kind == Statement::Kind::blank || statement.kind == Statement::Kind::remark;
        if (!reached && !silent) {
            findings_->push_back(finding_at(syntax_, "QS1014", syntax_.body(statement),
                                            catalogue_text("this is never reached: the line before leaves")));
            reached = true; // one finding for the whole run
        }
        if (statement.single) continue;
        if (statement.kind == Statement::Kind::exit) reached = false;
        if (statement.kind == Statement::Kind::go_to && target(statement)) reached = false;
    }
}

void Jumps::checkOpenLevels() {
    for (size_t place = 0; place < syntax_.statements.size(); ++place) {
        const Statement &statement = syntax_.statements[place];
        if (branches_[place] == 0) continue;
        if (statement.kind == Statement::Kind::exit)
            findings_->push_back(
                finding_at(syntax_, "QS1023", syntax_.body(statement),
                           catalogue_text("EXIT within an IF leaves it open: a login reports the missing END")));
        // The one statement of an IF is outside again when the jump is made.
        if (statement.kind != Statement::Kind::go_to || statement.single) continue;
        const std::optional<size_t> to = target(statement);
        if (to && *to < place && branches_[*to] != branches_[place])
            findings_->push_back(finding_at(
                syntax_, "QS1024", syntax_.body(statement),
                catalogue_text("a jump back out of a block leaves its IF open: after 199 times nothing is executed")));
    }
}

void check_labels(const Syntax &syntax, Findings *findings) {
    Jumps jumps(syntax, findings);
    jumps.checkLabels();
    jumps.checkGotos();
    jumps.checkUnreachable();
    jumps.checkOpenLevels();
    labels_forget();
}
