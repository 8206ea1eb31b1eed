#include "tools/qrtscript/check/syntax.h"

#include <algorithm>

std::string_view Syntax::spelling(TokenRange range) const {
    if (range.empty()) return {};
    return std::string_view(text).substr(begin(range), end(range) - begin(range));
}

size_t Syntax::begin(TokenRange range) const {
    return range.first < tokens.size() ? tokens[range.first].begin : text.size();
}

size_t Syntax::end(TokenRange range) const {
    return range.empty() ? begin(range) : tokens[range.end - 1].end;
}

TokenRange Syntax::body(const Statement &statement) const {
    TokenRange range = statement.tokens;
    while (!range.empty() && (tokens[range.end - 1].kind == '\n' || tokens[range.end - 1].kind == '\r')) --range.end;
    return range;
}

int Syntax::keyword(const Statement &statement) const {
    const TokenRange range = body(statement);
    return range.empty() ? 0 : tokens[range.first].kind;
}

std::vector<size_t> syntax_branches(const Syntax &syntax) {
    std::vector<size_t> branches, around = {0};
    size_t made = 0, singles = 0;
    for (const Statement &statement : syntax.statements) {
        const bool isElse = statement.kind == Statement::Kind::otherwise,
                   isEnd = statement.kind == Statement::Kind::end;
        if ((isElse || isEnd) && around.size() > 1) around.pop_back();
        branches.push_back(around.back());
        switch (statement.kind) {
            case Statement::Kind::if_one:
                ++singles;
                around.push_back(++made);
                continue;
            case Statement::Kind::if_block:
            case Statement::Kind::if_broken:
            case Statement::Kind::otherwise:
                around.push_back(++made);
                break;
            default:
                break;
        }
        for (; singles > 0; --singles)
            if (around.size() > 1) around.pop_back();
    }
    return branches;
}

std::vector<size_t> syntax_part_ends(const Syntax &syntax) {
    const size_t none = syntax.statements.size();
    std::vector<size_t> ends(none, none), open;
    size_t singles = 0;
    for (size_t number = 0; number < none; ++number) {
        const Statement::Kind kind = syntax.statements[number].kind;
        const bool isElse = kind == Statement::Kind::otherwise, isEnd = kind == Statement::Kind::end;
        if ((isElse || isEnd) && !open.empty() && ends[open.back()] == none) ends[open.back()] = number;
        if (isEnd && !open.empty()) open.pop_back();
        if (kind == Statement::Kind::if_one) {
            ++singles;
            open.push_back(number);
            continue;
        }
        if (kind == Statement::Kind::if_block || kind == Statement::Kind::if_broken) open.push_back(number);
        for (; singles > 0; --singles)
            if (!open.empty()) open.pop_back();
    }
    return ends;
}

Lines::Lines(std::string_view text) : text_(text), starts_(1, 0) {
    for (size_t at = text.find('\n'); at != text.npos; at = text.find('\n', at + 1)) {
        ends_.push_back(at);
        if (at + 1 < text.size()) starts_.push_back(at + 1);
    }
    if (ends_.size() < starts_.size()) ends_.push_back(text.size());
    for (size_t number = 0; number < ends_.size(); ++number)
        while (ends_[number] > starts_[number] && text[ends_[number] - 1] == '\r') --ends_[number];
}

size_t Lines::line(size_t place) const {
    return static_cast<size_t>(std::upper_bound(starts_.begin(), starts_.end(), place) - starts_.begin());
}

std::string_view Lines::text(size_t line) const {
    return text_.substr(start(line), ends_[line - 1] - start(line));
}
