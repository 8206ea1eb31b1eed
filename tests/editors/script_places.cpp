// script_places FILE...: what the library's own parser says of each byte of scripts, for comparison with what editors
// show. For each file a line "== FILE", and for each of its lines how many IFs it stands in ("-" for an empty one), a
// tab, and a letter for each byte:
//     K keyword   R remark   Q quoted text   L label   . anything else
//     N reference to an identifier   I any other reference
//     ? anything but R, Q and L: behind what the parser could not read   (blank) not compared
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "language/grammar.tab.h"
#include "platform/common/nocase.h"
#include "qrtscript.h"
#include "tools/qrtscript/check/references.h"
#include "tools/qrtscript/check/syntax.h"

namespace {

class Places {
  public:
    explicit Places(const Syntax &syntax) : syntax_(syntax), classes_(syntax.text.size(), ' ') {}
    std::string take();

  private:
    void paint(size_t begin, size_t end, char with) {
        std::fill(classes_.begin() + static_cast<long>(begin), classes_.begin() + static_cast<long>(end), with);
    }
    void paintTokens(TokenRange range, char keywords, char others);
    void paintWords(const Phrase &phrase);
    void paintStatement(const Statement &statement);
    void paintBroken(const Statement &statement);
    void paintUnusedWords(TokenRange body);
    void paintReference(const ScriptReference &one);
    void paintReferences(const Statement &statement);
    bool isFound(const Statement &label) const;
    bool beginsStatement(int keyword) const;

    const Syntax &syntax_;
    std::string classes_;
};

} // namespace

static bool is_keyword(int kind) {
    return kind >= KW_WRITE && kind < WHOLELINE && kind != STRING;
}

void Places::paintTokens(TokenRange range, char keywords, char others) {
    for (size_t at = range.first; at < range.end; ++at) {
        const Token &token = syntax_.tokens[at];
        const char with = is_keyword(token.kind) ? keywords : token.kind == QUOTEDSTRING ? 'Q' : others;
        paint(token.begin, token.end, with);
    }
}

// Keywords that are part of an operand are words.
void Places::paintWords(const Phrase &phrase) {
    if (phrase.kind == Phrase::Kind::token && !phrase.tokens.empty() &&
        is_keyword(syntax_.tokens[phrase.tokens.first].kind))
        paintTokens(phrase.tokens, '.', '.');
}

static bool is_identifier(const ScriptReference &reference) {
    std::string name = reference.name;
    if (equal_nocase(name, "home directory")) name[4] = '_'; // as the tokenizer does
    if (reference.isVariable) return false;
    for (const QrtIdentifier *one = itable; one->name != nullptr; ++one)
        if (equal_nocase(one->name, name)) return true;
    return false;
}

void Places::paintReference(const ScriptReference &one) {
    paint(one.place, one.place + one.length, is_identifier(one) ? 'N' : 'I');
}

// Words that mean nothing, whatever they are: no operand has them.
void Places::paintUnusedWords(TokenRange body) {
    const auto kind = [&](size_t at) { return body.first + at < body.end ? syntax_.tokens[body.first + at].kind : 0; };
    if (kind(0) == KW_FIRE && kind(1) == KW_PHASERS) paintTokens({body.first + 1, body.first + 2}, '.', '.');
    if (kind(0) == KW_DOS && kind(1) == KW_VERIFY) paintTokens({body.first + 2, body.end}, '.', '.');
}

void Places::paintReferences(const Statement &statement) {
    for (const ScriptReference &one : statement_references(syntax_, statement)) paintReference(one);
}

// GOTO finds only a label that stands at the very start of its line, in one piece.
bool Places::isFound(const Statement &label) const {
    const TokenRange body = syntax_.body(label);
    const size_t begin = syntax_.begin(body);
    if (begin > 0 && syntax_.text[begin - 1] != '\n') return false;
    return syntax_.tokens[body.first].end == syntax_.tokens[body.first + 1].begin;
}

// The parser has a rule for what is wrong behind these.
bool Places::beginsStatement(int keyword) const {
    static const std::vector<int> others = {KW_THEN,    KW_BEGIN, KW_DO,     KW_PHASER, KW_PHASERS, KW_MEMBER,
                                            KW_MEMBERS, KW_OF,    KW_NOT,    KW_ON,     KW_OFF,     KW_AND,
                                            KW_OR,      KW_NOR,   KW_EQUAL,  KW_IS,     KW_LESS,    KW_GREATER,
                                            KW_THAN,    KW_VALUE, KW_EQUALS, KW_VERIFY};
    return is_keyword(keyword) && std::find(others.begin(), others.end(), keyword) == others.end();
}

void Places::paintBroken(const Statement &statement) {
    const TokenRange body = syntax_.body(statement);
    paintTokens(body, '?', '?');
    if (body.empty()) return;
    const Token &first = syntax_.tokens[body.first];
    if (beginsStatement(first.kind)) paint(first.begin, first.end, 'K');
    if (first.kind == STRING) paint(first.begin, first.end, '.');
    for (size_t at = body.first; at < body.end; ++at)
        if (const Token &token = syntax_.tokens[at]; token.kind == QUOTEDSTRING)
            for (const Phrase &phrase : syntax_.phrases)
                if (phrase.kind == Phrase::Kind::token && phrase.tokens.first == at)
                    for (const ScriptReference &one : text_references(syntax_, phrase)) paintReference(one);
}

void Places::paintStatement(const Statement &statement) {
    const TokenRange body = syntax_.body(statement);
    switch (statement.kind) {
        case Statement::Kind::broken:
        case Statement::Kind::if_broken:
            paintBroken(statement);
            return;
        case Statement::Kind::remark:
            if (!body.empty()) paint(syntax_.begin(body), syntax_.end(body), 'R');
            return;
        case Statement::Kind::label:
            if (isFound(statement))
                paint(syntax_.begin(body), syntax_.end(body), 'L');
            else
                paintTokens(body, '.', '.');
            return;
        default:
            break;
    }
    paintTokens(body, 'K', '.');
    visit_statement(syntax_, statement, [&](const Phrase &phrase) { paintWords(phrase); });
    paintUnusedWords(body);
    if (statement.kind == Statement::Kind::go_to)
        paint(syntax_.begin(syntax_.phrases[statement.operands.front()].tokens), syntax_.end(body), 'L');
    paintReferences(statement);
}

std::string Places::take() {
    for (const Statement &statement : syntax_.statements) paintStatement(statement);
    return std::move(classes_);
}

// For each line the number of IFs that the statement which begins in it stands in.
static std::vector<int> depths(const Syntax &syntax, const Lines &lines) {
    const std::vector<size_t> branches = syntax_branches(syntax);
    std::vector<int> ofBranch = {0}, ofLine(lines.count(), -1);
    for (size_t at = 0; at < branches.size(); ++at) {
        const Statement &statement = syntax.statements[at];
        const int depth = ofBranch[branches[at]];
        if (const TokenRange body = syntax.body(statement); !body.empty())
            if (int &line = ofLine[lines.line(syntax.begin(body)) - 1]; line < 0) line = depth;
        if (statement.kind == Statement::Kind::if_block || statement.kind == Statement::Kind::if_one ||
            statement.kind == Statement::Kind::if_broken || statement.kind == Statement::Kind::otherwise)
            ofBranch.push_back(depth + 1);
    }
    return ofLine;
}

static bool show(const char *path) {
    std::ifstream file(path, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (!file) return false;
    const Syntax syntax = syntax_read(text);
    const Lines lines(syntax.text);
    const std::string classes = Places(syntax).take();
    const std::vector<int> depth = depths(syntax, lines);
    printf("== %s\n", path);
    for (size_t line = 1; line <= lines.count(); ++line) {
        if (syntax.text.empty()) break;
        const std::string shown = depth[line - 1] < 0 ? "-" : std::to_string(depth[line - 1]);
        printf("%s\t%s\n", shown.c_str(), classes.substr(lines.start(line), lines.text(line).size()).c_str());
    }
    return true;
}

int main(int argc, char **argv) {
    for (int at = 1; at < argc; ++at) {
        if (show(argv[at])) continue;
        fprintf(stderr, "script_places: cannot read %s\n", argv[at]);
        return 1;
    }
    return argc > 1 ? 0 : 64;
}
