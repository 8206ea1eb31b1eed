// MAP, PATH and DRIVE, and the drives in the names of files.

#include <algorithm>
#include <map>
#include <string>

#include "language/grammar.tab.h"
#include "platform/catalogue.h"
#include "tools/map/command.h"
#include "tools/map/refusal.h"
#include "tools/qrtscript/check/references.h"
#include "tools/qrtscript/check/rules.h"

namespace {

// A mapping, and the branch of an IF that it stands in.
struct Mapping {
    std::string target; // cppcheck-suppress unusedStructMember
    size_t branch;      // cppcheck-suppress unusedStructMember
};

// A drive in a name, before which no line maps it.
struct EarlyUse {
    std::string drive;
    TokenRange tokens;
};

// The drives that a script maps, in the order of its lines.
class Drives {
  public:
    Drives(const Syntax &syntax, Findings *findings) : syntax_(syntax), findings_(findings) {}
    void map(const Statement &statement, size_t branch);
    // A drive that DRIVE names.
    void change(const std::string &drive, TokenRange tokens);
    void use(const std::string &drive, TokenRange tokens);
    // Those used before they were mapped; one that the script never maps may be another script's.
    void reportEarly();

  private:
    void take(const Command &command, TokenRange tokens, size_t branch);
    const Syntax &syntax_;
    Findings *findings_;
    std::map<std::string, Mapping> mappings_;
    std::vector<EarlyUse> early_;
    bool anyNext_ = false; // a drive that the script does not name was mapped
};

} // namespace

// The line as `map` gets it: references stand for something, so that only the rest of it is judged.
static std::string map_line(const Syntax &syntax, const Phrase &token) {
    std::string line = token.text;
    std::vector<ScriptReference> references = text_references(syntax, token);
    const size_t start = syntax.begin(token.tokens);
    for (auto one = references.rbegin(); one != references.rend(); ++one)
        line.replace(one->place - start, one->length, "X");
    std::replace(line.begin(), line.end(), ';', ',');
    std::replace(line.begin(), line.end(), '\\', '/');
    return line;
}

void Drives::take(const Command &command, TokenRange tokens, size_t branch) {
    if (command.action == Command::Action::next) anyNext_ = true;
    if (command.action == Command::Action::remove) mappings_.erase(command.drive.name());
    if (command.action != Command::Action::assign) return;
    const std::string name = command.drive.name();
    const auto [old, isNew] = mappings_.try_emplace(name, Mapping{command.target, branch});
    // What another branch maps is the choice that IF is for.
    if (!isNew && old->second.branch == branch && old->second.target != command.target)
        findings_->push_back(finding_at(syntax_, "QS3002", tokens,
                                        catalogue_format("drive %1$s: is mapped to %2$s before, which this replaces",
                                                         name.c_str(), old->second.target.c_str())));
    old->second = {command.target, branch};
}

void Drives::map(const Statement &statement, size_t branch) {
    const Phrase &token = syntax_.phrases[statement.operands.front()];
    try {
        for (const Command &command : command_parse(map_line(syntax_, token))) take(command, token.tokens, branch);
    } catch (const Refusal &refusal) {
        findings_->push_back(finding_at(syntax_, "QS3001", token.tokens, refusal.what()));
    }
}

void Drives::use(const std::string &drive, TokenRange tokens) {
    const std::optional<Drive> known = drive_of(drive);
    if (known && !anyNext_ && mappings_.count(known->name()) == 0) early_.push_back({known->name(), tokens});
}

void Drives::change(const std::string &drive, TokenRange tokens) {
    if (drive_of(drive)) return use(drive, tokens);
    findings_->push_back(
        finding_at(syntax_, "QS3001", tokens,
                   catalogue_format("\"%s:\" is not a drive: use a letter, S1 to S16 or *1 to *21", drive.c_str())));
}

void Drives::reportEarly() {
    for (const EarlyUse &one : early_)
        if (mappings_.count(one.drive) != 0)
            findings_->push_back(
                finding_at(syntax_, "QS3003", one.tokens,
                           catalogue_format("drive %s: is not mapped yet: a later line does that", one.drive.c_str())));
}

// The drive that a file's name begins with: one letter and a colon.
static std::string drive_of_file(const Syntax &syntax, const Phrase &file) {
    const std::string written(syntax.spelling(file.tokens));
    return written.size() > 1 && written[1] == ':' ? written.substr(0, 1) : "";
}

void check_drives(const Syntax &syntax, Findings *findings) {
    Drives drives(syntax, findings);
    const std::vector<size_t> branches = syntax_branches(syntax);
    for (const Statement &statement : syntax.statements) {
        switch (statement.kind) {
            case Statement::Kind::map:
                drives.map(statement, branches[static_cast<size_t>(&statement - syntax.statements.data())]);
                break;
            case Statement::Kind::drive: {
                const Phrase &name = syntax.phrases[statement.operands.front()];
                drives.change(std::string(syntax.spelling(name.tokens)), name.tokens);
                break;
            }
            case Statement::Kind::display_file:
            case Statement::Kind::include_file: {
                const Phrase &file = syntax.phrases[statement.operands.front()];
                const std::string drive = drive_of_file(syntax, file);
                if (!drive.empty()) drives.use(drive, file.tokens);
                break;
            }
            default:
                break;
        }
    }
    drives.reportEarly();
}
