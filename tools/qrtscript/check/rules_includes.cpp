// Scripts that include one another until a login stops them.

#include <unistd.h>
#include <algorithm>
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
    // Whether the text that `name` stands for leads back to itself, or to `origin`.
    bool repeats(const std::string &name, const std::string &origin);

  private:
    std::optional<std::string> text_of(const std::string &name) const;
    const CheckDirectory *directory_;
    std::vector<std::string> open_; // in lower case
    std::set<std::string> done_;
};

} // namespace

static std::string lowered(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(), lower_case);
    return name;
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

bool Chain::repeats(const std::string &name, const std::string &origin) {
    const std::string key = lowered(name);
    if (key == lowered(origin) || std::find(open_.begin(), open_.end(), key) != open_.end()) return true;
    if (!done_.insert(key).second) return false;
    const std::optional<std::string> text = text_of(name);
    if (!text) return false;
    open_.push_back(key);
    const Syntax syntax = syntax_read(*text);
    bool found = false;
    for (const Statement &statement : syntax.statements) {
        if (found || !is_include(statement)) continue;
        const std::optional<std::string> next = included_name(syntax, statement);
        found = next && repeats(*next, origin);
    }
    open_.pop_back();
    return found;
}

void check_includes(const Syntax &syntax, const std::string &name, const CheckDirectory *directory,
                    Findings *findings) {
    for (const Statement &statement : syntax.statements) {
        if (!is_include(statement)) continue;
        const std::optional<std::string> next = included_name(syntax, statement);
        if (!next || !Chain(directory).repeats(*next, name)) continue;
        findings->push_back(finding_at(
            syntax, "QS1022", syntax.phrases[statement.operands.front()].tokens,
            catalogue_format("%s includes itself in the end: a login stops that after 100 levels", next->c_str())));
    }
}
