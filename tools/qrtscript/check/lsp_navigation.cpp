// Finding one's way in a script: labels, jumps, included files and blocks.

#include <algorithm>

#include "language/grammar.tab.h"
#include "tools/qrtscript/check/label_map.h"
#include "tools/qrtscript/check/lsp_document.h"

static Json location(const LspDocument &document, size_t begin, size_t end) {
    return {{"uri", document.uri()}, {"range", document.range(begin, end)}};
}

static size_t end_of_line(const std::string &text, size_t place) {
    size_t end = std::min(text.find('\n', place), text.size());
    while (end > place && text[end - 1] == '\r') --end;
    return end;
}

Json lsp_symbols(LspDocument &document) {
    constexpr int kind_of_a_label = 20; // the protocol's "Key": it has none for labels
    Json list = Json::array();
    for (const LabelMap::Label &label : LabelMap(document.syntax()).labels)
        list.push_back({{"name", label.name},
                        {"kind", kind_of_a_label},
                        {"range", document.range(label.line, end_of_line(document.text().text(), label.begin))},
                        {"selectionRange", document.range(label.begin, label.end)}});
    return list;
}

// The label at the place, or the one that the GOTO there goes to.
static const LabelMap::Label *label_meant(const LabelMap &map, size_t place) {
    if (const LabelMap::Label *label = map.labelAt(place)) return label;
    const LabelMap::Jump *jump = map.jumpAt(place);
    return jump != nullptr && jump->line ? map.labelOf(*jump->line) : nullptr;
}

Json lsp_label_definition(LspDocument &document, size_t place) {
    const LabelMap map(document.syntax());
    if (const LabelMap::Label *label = label_meant(map, place)) return location(document, label->begin, label->end);
    // A line that cannot be read may begin with a label all the same.
    const LabelMap::Jump *jump = map.jumpAt(place);
    if (jump == nullptr || !jump->line) return nullptr;
    const size_t begin = *jump->line + (document.text().text()[*jump->line] == ':' ? 1 : 0);
    return location(document, begin, begin + jump->name.size());
}

Json lsp_references(LspDocument &document, size_t place, bool withLabel) {
    const LabelMap map(document.syntax());
    const LabelMap::Label *label = label_meant(map, place);
    if (label == nullptr) return nullptr;
    Json list = Json::array();
    if (withLabel) list.push_back(location(document, label->begin, label->end));
    for (const LabelMap::Jump *jump : map.jumpsTo(*label)) list.push_back(location(document, jump->begin, jump->end));
    return list;
}

Json lsp_rename_range(LspDocument &document, size_t place) {
    const LabelMap map(document.syntax());
    if (const LabelMap::Label *label = map.labelAt(place)) return document.range(label->begin, label->end);
    const LabelMap::Jump *jump = map.jumpAt(place);
    if (jump == nullptr || label_meant(map, place) == nullptr) return nullptr;
    return document.range(jump->begin, jump->end);
}

Json lsp_rename(LspDocument &document, size_t place, const std::string &name) {
    const LabelMap map(document.syntax());
    const LabelMap::Label *label = label_meant(map, place);
    if (label == nullptr) return nullptr;
    const auto outcome = label_rename(document.syntax(), map, *label, name);
    if (const auto *problem = std::get_if<std::string>(&outcome)) throw LspError(lsp_request_failed, *problem);
    Json edits = Json::array();
    for (const LabelEdit &edit : std::get<std::vector<LabelEdit>>(outcome))
        edits.push_back(document.edit(edit.begin, edit.end, name));
    return {{"changes", {{document.uri(), edits}}}};
}

std::string lsp_included_name(LspDocument &document, size_t place) {
    const Syntax &syntax = document.syntax();
    for (const Statement &statement : syntax.statements) {
        const TokenRange body = syntax.body(statement);
        if (body.empty() || syntax.begin(body) > place || place > syntax.end(body)) continue;
        const bool includes =
            statement.kind == Statement::Kind::include_file || statement.kind == Statement::Kind::include_object ||
            statement.kind == Statement::Kind::display_file || statement.kind == Statement::Kind::display_object;
        if (!includes || body.end - body.first < 2) continue;
        std::string name(syntax.spelling(TokenRange{body.first + 1, body.end}));
        name.erase(name.find_last_not_of(" \t") + 1);
        // Volumes, servers and values are known at a login alone.
        return name.find_first_of(":\\%<") == name.npos ? name : "";
    }
    return "";
}

// ---- folding ----

namespace {

class Folds {
  public:
    explicit Folds(LspDocument &document) : document_(document) {}
    Json take();

  private:
    void add(size_t first, size_t last, const char *kind = "region") {
        if (last > first) list_.push_back({{"startLine", first}, {"endLine", last}, {"kind", kind}});
    }
    size_t line(const Statement &statement) const {
        return document_.text().position(document_.syntax().begin(statement.tokens)).line;
    }
    void addRemarks();
    void addBlocks();
    void close(size_t lastLine, std::vector<std::optional<size_t>> *open) {
        if (open->back()) add(*open->back(), lastLine);
    }

    LspDocument &document_;
    Json list_ = Json::array();
};

} // namespace

void Folds::addBlocks() {
    std::vector<std::optional<size_t>> open; // the lines of the IFs; none for one with a single statement
    size_t singles = 0;
    for (const Statement &statement : document_.syntax().statements) {
        if (statement.tokens.empty()) continue;
        const size_t at = line(statement);
        switch (statement.kind) {
            case Statement::Kind::if_one:
                ++singles;
                open.emplace_back();
                continue;
            case Statement::Kind::if_block:
            case Statement::Kind::if_broken:
                open.emplace_back(at);
                break;
            case Statement::Kind::otherwise:
            case Statement::Kind::end:
                if (open.empty()) break;
                if (at > 0) close(at - 1, &open);
                if (statement.kind == Statement::Kind::end)
                    open.pop_back();
                else
                    open.back() = at;
                break;
            default:
                break;
        }
        for (; singles > 0; --singles)
            if (!open.empty()) open.pop_back();
    }
    const size_t last = document_.text().position(document_.text().text().size()).line;
    for (; !open.empty(); open.pop_back()) close(last, &open);
}

void Folds::addRemarks() {
    std::optional<size_t> first;
    size_t last = 0;
    for (const Statement &statement : document_.syntax().statements) {
        if (statement.kind == Statement::Kind::remark && !statement.single) {
            last = line(statement);
            if (!first) first = last;
        } else if (first) {
            add(*first, last, "comment");
            first.reset();
        }
    }
    if (first) add(*first, last, "comment");
}

Json Folds::take() {
    addBlocks();
    addRemarks();
    return std::move(list_);
}

Json lsp_folding_ranges(LspDocument &document) {
    return Folds(document).take();
}
