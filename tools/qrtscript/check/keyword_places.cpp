#include "tools/qrtscript/check/keyword_places.h"

#include "language/grammar.tab.h"

namespace {

class Places {
  public:
    explicit Places(const Syntax &syntax) : syntax_(syntax), found_(syntax.tokens.size()) {}
    void mark(const Statement &statement);
    std::vector<bool> take() { return std::move(found_); }

  private:
    size_t headLength(TokenRange body) const;
    void markHead(TokenRange body);
    void markAll(TokenRange body);
    void clearWords(size_t phrase);
    void clearCondition(size_t condition);
    int kind(TokenRange body, size_t place) const {
        return body.first + place < body.end ? syntax_.tokens[body.first + place].kind : 0;
    }

    const Syntax &syntax_;
    std::vector<bool> found_;
};

} // namespace

static bool is_keyword(int kind) {
    return kind >= KW_WRITE && kind < WHOLELINE && kind != STRING;
}

// How many keywords a statement begins with.
size_t Places::headLength(TokenRange body) const {
    switch (kind(body, 0)) {
        case KW_DOS:
            return kind(body, 1) == KW_BREAK ? 3 : 2;
        case KW_TEMP:
        case KW_LOCAL:
        case KW_BREAK:
        case KW_SET_TIME:
            return 2;
        case KW_DEBUG:
            // DEBUG ON has a word for its level.
            return kind(body, 1) == KW_OFF ? 2 : 1;
        case KW_FIRE:
            // PHASERS is a word, and so is PHASER alone.
            return kind(body, 1) == KW_PHASER && body.end - body.first > 2 ? 2 : 1;
        default:
            return 1;
    }
}

void Places::markHead(TokenRange body) {
    for (size_t token = body.first; token < body.first + headLength(body) && token < body.end; ++token)
        found_[token] = is_keyword(syntax_.tokens[token].kind);
}

void Places::markAll(TokenRange body) {
    for (size_t token = body.first; token < body.end; ++token) found_[token] = is_keyword(syntax_.tokens[token].kind);
}

// The words that a phrase consists of are none, whatever they are called.
void Places::clearWords(size_t phrase) {
    const Phrase &one = syntax_.phrases[phrase];
    if (one.kind == Phrase::Kind::token) found_[one.tokens.first] = false;
    for (const size_t part : one.parts) clearWords(part);
}

void Places::clearCondition(size_t condition) {
    const Condition &one = syntax_.conditions[condition];
    for (const size_t part : one.parts)
        if (one.isCompound())
            clearCondition(part);
        else
            clearWords(part);
}

void Places::mark(const Statement &statement) {
    const TokenRange body = syntax_.body(statement);
    switch (statement.kind) {
        case Statement::Kind::blank:
        case Statement::Kind::broken:
        case Statement::Kind::if_broken:
        case Statement::Kind::label:
            return;
        case Statement::Kind::if_block:
        case Statement::Kind::if_one:
            markAll(body);
            clearCondition(statement.condition);
            return;
        case Statement::Kind::write:
        case Statement::Kind::set:
            // MEMBER OF is part of a text.
            markAll(body);
            for (const size_t operand : statement.operands) clearWords(operand);
            return;
        default:
            markHead(body);
    }
}

std::vector<bool> keyword_places(const Syntax &syntax) {
    Places places(syntax);
    for (const Statement &statement : syntax.statements) places.mark(statement);
    return places.take();
}
