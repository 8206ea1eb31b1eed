// Help while one writes: what stands there, and what could.

#include <algorithm>
#include <cctype>
#include <set>

#include "include/qrtscript.h"
#include "language/grammar.tab.h"
#include "platform/common/nocase.h"
#include "tools/qrtscript/check/forms.h"
#include "tools/qrtscript/check/keyword_places.h"
#include "tools/qrtscript/check/known_names.h"
#include "tools/qrtscript/check/label_map.h"
#include "tools/qrtscript/check/language_help.h"
#include "tools/qrtscript/check/lsp_document.h"
#include "tools/qrtscript/check/lsp_values.h"
#include "tools/qrtscript/check/references.h"

static Json markdown(const std::string &text) {
    return {{"kind", "markdown"}, {"value", text}};
}

static std::string statement_help(std::string_view keyword) {
    return "```qrtscript\n" + std::string(statement_form(keyword)) + "\n```\n\n" +
           std::string(statement_sentence(keyword));
}

static std::string upper(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), upper_case);
    return result;
}

// ---- hover ----

static Json hover(const LspDocument &document, size_t begin, size_t end, const std::string &text) {
    return {{"contents", markdown(text)}, {"range", document.range(begin, end)}};
}

static Json hover_reference(const LspDocument &document, const ScriptReference &one) {
    const std::string text = one.isVariable
                                 ? lsp_code("%<" + one.name + ">") + ": the environment variable"
                                 : lsp_code("%" + upper(one.name)) + ": " + std::string(identifier_sentence(one.name));
    return hover(document, one.place, one.place + one.length, text);
}

static Json hover_word(const LspDocument &document, const Syntax &syntax, const Statement &statement, size_t place,
                       std::string *identifier) {
    Json found;
    visit_statement(syntax, statement, [&](const Phrase &phrase) {
        const size_t begin = syntax.begin(phrase.tokens), end = syntax.end(phrase.tokens);
        if (phrase.kind != Phrase::Kind::word || place < begin || place >= end) return;
        const std::string name(syntax.spelling(phrase.tokens));
        if (!name_is_known(name)) return;
        *identifier = name;
        found = hover(document, begin, end, lsp_code(upper(name)) + ": " + std::string(identifier_sentence(name)));
    });
    return found;
}

static Json hover_keyword(const LspDocument &document, const Syntax &syntax, const Statement &statement, size_t place) {
    const TokenRange body = syntax.body(statement);
    if (body.empty()) return nullptr;
    const std::string_view first = syntax.spelling(syntax.tokens[body.first]);
    if (statement_form(first).empty()) return nullptr;
    const bool isBroken = statement.kind == Statement::Kind::broken || statement.kind == Statement::Kind::if_broken;
    const std::vector<bool> keywords = keyword_places(syntax);
    for (size_t token = body.first; token < body.end; ++token) {
        const Token &one = syntax.tokens[token];
        const bool isBeginning = token == body.first && (isBroken || one.kind < KW_WRITE);
        if (place < one.begin || place >= one.end || !(keywords[token] || isBeginning)) continue;
        return hover(document, one.begin, one.end, statement_help(first));
    }
    return nullptr;
}

static Json hover_label(LspDocument &document, size_t place) {
    const LabelMap map(document.syntax());
    const LabelMap::Jump *jump = map.jumpAt(place);
    if (jump == nullptr) return nullptr;
    const std::string where =
        jump->line ? "the label in line " + std::to_string(document.text().position(*jump->line).line + 1)
                   : "there is no such label: the script goes on in the next line";
    return hover(document, jump->begin, jump->end, lsp_code(jump->name) + ": " + where);
}

Json lsp_hover(LspDocument &document, size_t place, std::string *identifier) {
    const Syntax &syntax = document.syntax();
    for (const Statement &statement : syntax.statements) {
        if (statement.tokens.empty() || syntax.end(statement.tokens) <= place) continue;
        if (syntax.begin(statement.tokens) > place) return nullptr;
        for (const ScriptReference &one : statement_references(syntax, statement)) {
            if (one.place > place || place >= one.place + one.length) continue;
            if (!one.isVariable) *identifier = one.name;
            return hover_reference(document, one);
        }
        Json found = hover_word(document, syntax, statement, place, identifier);
        if (found.is_null()) found = hover_keyword(document, syntax, statement, place);
        if (found.is_null() && statement.kind == Statement::Kind::go_to) found = hover_label(document, place);
        return found;
    }
    return nullptr;
}

// ---- completion ----

namespace {

enum ItemKind { item_variable = 6, item_keyword = 14, item_reference = 18 };

// The line up to the cursor, and what may follow.
class Completion {
  public:
    Completion(LspDocument &document, size_t place);
    Json take();

  private:
    void add(const std::string &label, ItemKind kind, const std::string &detail, const std::string &help);
    void addStatements();
    void addWords(std::initializer_list<const char *> words) {
        for (const char *word : words) add(word, item_keyword, "", "");
    }
    void addLabels();
    void addIdentifiers();
    void addVariables();
    void addForIf();
    void addBehind(int last);
    bool isInText() const;
    bool has(int kind) const { return std::find(kinds_.begin(), kinds_.end(), kind) != kinds_.end(); }

    LspDocument &document_;
    size_t place_, word_; // where the word begins that is being written
    std::string line_;    // up to that word
    std::vector<int> kinds_;
    bool inText_ = false;
    Json list_ = Json::array();
};

} // namespace

Completion::Completion(LspDocument &document, size_t place) : document_(document), place_(place), word_(place) {
    constexpr std::string_view ends = " \t\n\r:;\\/\"#@%*+-()!=<>,";
    const std::string &text = document.text().text();
    const size_t start = place == 0 ? 0 : text.rfind('\n', place - 1) + 1;
    while (word_ > start && ends.find(text[word_ - 1]) == ends.npos) --word_;
    line_ = text.substr(start, word_ - start);
    // A NUL would end the line early.
    std::replace(line_.begin(), line_.end(), '\0', ' ');
    const Syntax syntax = syntax_read(line_ + "\n");
    for (const Token &token : syntax.tokens) {
        if (token.kind == '\n') continue;
        kinds_.push_back(token.kind);
        const bool open = token.kind == QUOTEDSTRING && (token.end - token.begin < 2 || line_[token.end - 1] != '"');
        inText_ = token.kind == WHOLELINE || open;
    }
}

void Completion::add(const std::string &label, ItemKind kind, const std::string &detail, const std::string &help) {
    Json item = {{"label", label},
                 {"kind", int{kind}},
                 {"textEdit", document_.edit(word_, place_, label)},
                 {"filterText", label}};
    if (!detail.empty()) item["detail"] = detail;
    if (!help.empty()) item["documentation"] = markdown(help);
    list_.push_back(std::move(item));
}

void Completion::addStatements() {
    for (const std::string_view keyword : statement_keywords())
        if (isalpha(static_cast<unsigned char>(keyword.front())) != 0)
            add(std::string(keyword), item_keyword, std::string(statement_form(keyword)),
                std::string(statement_sentence(keyword)));
}

void Completion::addLabels() {
    for (const LabelMap::Label &label : LabelMap(document_.syntax()).labels)
        if (label.isFound) add(label.name, item_reference, "", "");
}

void Completion::addIdentifiers() {
    std::set<std::string> names;
    for (const std::string_view name : known_names()) names.insert(upper(name));
    for (const std::string &name : names) add(name, item_variable, "", std::string(identifier_sentence(name)));
}

// Those that the script sets.
void Completion::addVariables() {
    const Syntax &syntax = document_.syntax();
    std::set<std::string> names;
    for (const Statement &statement : syntax.statements)
        if (statement.kind == Statement::Kind::set || statement.kind == Statement::Kind::set_empty)
            names.emplace(syntax.spelling(syntax.phrases[statement.operands.front()].tokens));
    for (const std::string &name : names) add(name, item_variable, "", "");
}

void Completion::addForIf() {
    switch (kinds_.back()) {
        case KW_NOT:
            return addWords({"MEMBER OF", "EQUALS"});
        case KW_MEMBER:
        case KW_MEMBERS:
            return addWords({"OF"});
        case KW_LESS:
        case KW_GREATER:
            return addWords({"THAN"});
        case KW_IF:
        case KW_AND:
        case KW_OR:
        case KW_NOR:
            addWords({"VALUE", "MEMBER OF", "NOT MEMBER OF"});
            return addIdentifiers();
        default:
            addWords({"AND", "OR", "NOR", "IS", "EQUALS", "NOT EQUALS", "GREATER THAN", "LESS THAN", "THEN"});
            addIdentifiers();
    }
}

void Completion::addBehind(int last) {
    switch (last) {
        case KW_GOTO:
            return addLabels();
        case KW_THEN:
            addWords({"BEGIN", "DO"});
            return addStatements();
        case KW_BEGIN:
        case KW_DO:
            return addStatements();
        case KW_BREAK:
        case KW_SET_TIME:
            return addWords({"ON", "OFF"});
        case KW_DEBUG:
            return addWords({"OFF"});
        case KW_DOS:
            return addWords({"SET", "BREAK", "VERIFY"});
        case KW_TEMP:
        case KW_LOCAL:
            return addWords({"SET"});
        case KW_MEMBER:
        case KW_MEMBERS:
            return addWords({"OF"});
        default:
            break;
    }
    if (has(KW_IF) && !has(KW_THEN)) return addForIf();
    if (has(KW_WRITE) || (has(KW_SET) && has('='))) {
        addWords({"MEMBER OF", "NOT MEMBER OF"});
        addIdentifiers();
    }
}

Json Completion::take() {
    const char before = line_.empty() ? '\0' : line_.back();
    const bool isVariable = before == '<' && (!inText_ || (line_.size() > 1 && line_[line_.size() - 2] == '%'));
    if (before == '%')
        addIdentifiers();
    else if (isVariable && !kinds_.empty())
        addVariables();
    else if (inText_)
        return list_;
    else if (kinds_.empty())
        addStatements();
    else
        addBehind(kinds_.back());
    return std::move(list_);
}

Json lsp_completion(LspDocument &document, size_t place) {
    return Completion(document, place).take();
}
