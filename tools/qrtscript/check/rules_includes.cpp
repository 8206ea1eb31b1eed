// Scripts that include one another until a login stops them.

#include <unistd.h>
#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/catalogue.h"
#include "platform/common/nocase.h"
#include "tools/qrtscript/check/references.h"
#include "tools/qrtscript/check/rules.h"
#include "tools/qrtscript/check/scripts.h"

namespace {

// A way from INCLUDE to INCLUDE.
class Chain {
  public:
    explicit Chain(const CheckDirectory *directory) : directory_(directory) {}
    // Whether the text that `name` stands for leads back to itself, or to `origin`, which is always the same.
    bool repeats(const std::string &name, const std::string &origin);

  private:
    bool leadsBack(const std::string &name, const std::string &origin);
    std::optional<std::string> text_of(const std::string &name) const;
    const std::vector<std::string> &namesIn(const std::string &name, const std::string &key);

    const CheckDirectory *directory_;
    // By keys: each text is read once, however many lines include it.
    std::map<std::string, std::vector<std::string>> names_;
    std::map<std::string, bool> answers_;
    std::vector<std::string> open_; // keys
    std::set<std::string> done_;
};

} // namespace

static std::string lowered(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(), lower_case);
    return name;
}

// The same for all spellings of a name: those of local files are told apart by the case of their letters.
static std::string key_of(const std::string &name) {
    return name[0] == '/' ? name : lowered(name);
}

static bool is_include(const Statement &statement) {
    return statement.kind == Statement::Kind::include_object || statement.kind == Statement::Kind::include_file;
}

// The object or the local file that is included; none where the name depends on values, or is on a server.
static std::optional<std::string> included_name(const Syntax &syntax, const Statement &statement) {
    if (!references_in(syntax, statement.operands.front()).empty()) return {};
    return std::string(syntax.spelling(syntax.phrases[statement.operands.front()].tokens));
}

std::optional<std::string> Chain::text_of(const std::string &name) const {
    if (directory_ != nullptr)
        if (std::optional<std::string> text = directory_->scriptOf(name)) return text;
    if (name[0] != '/' || access(name.c_str(), R_OK) != 0) return {};
    try {
        return script_text(name);
    } catch (const std::runtime_error &) {
        return {}; // what a login could not read either
    }
}

// What the text that `name` stands for includes.
const std::vector<std::string> &Chain::namesIn(const std::string &name, const std::string &key) {
    const auto [known, isNew] = names_.emplace(key, std::vector<std::string>());
    if (!isNew) return known->second;
    const std::optional<std::string> text = text_of(name);
    if (!text) return known->second;
    const Syntax syntax = syntax_read(*text);
    for (const Statement &statement : syntax.statements) {
        if (!is_include(statement)) continue;
        if (std::optional<std::string> next = included_name(syntax, statement))
            known->second.push_back(std::move(*next));
    }
    return known->second;
}

bool Chain::leadsBack(const std::string &name, const std::string &origin) {
    const std::string key = key_of(name);
    if (key == key_of(origin) || std::find(open_.begin(), open_.end(), key) != open_.end()) return true;
    if (!done_.insert(key).second) return false;
    const std::vector<std::string> &names = namesIn(name, key);
    open_.push_back(key);
    const bool found =
        std::any_of(names.begin(), names.end(), [&](const std::string &next) { return leadsBack(next, origin); });
    open_.pop_back();
    return found;
}

bool Chain::repeats(const std::string &name, const std::string &origin) {
    const auto [known, isNew] = answers_.emplace(key_of(name), false);
    if (!isNew) return known->second;
    done_.clear();
    return known->second = leadsBack(name, origin);
}

void check_includes(const Syntax &syntax, const std::string &name, const CheckDirectory *directory,
                    Findings *findings) {
    Chain chain(directory);
    for (const Statement &statement : syntax.statements) {
        if (!is_include(statement)) continue;
        const std::optional<std::string> next = included_name(syntax, statement);
        if (!next || !chain.repeats(*next, name)) continue;
        findings->push_back(finding_at(
            syntax, "QS1022", syntax.phrases[statement.operands.front()].tokens,
            catalogue_format("%s includes itself in the end: a login stops that after 100 levels", next->c_str())));
    }
}
