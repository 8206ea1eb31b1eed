// A script as the library's own parser reads it, from its first character to its last: no jump is made, nothing is
// included, and a mistake costs its line only.
#ifndef TOOLS_QRTSCRIPT_CHECK_SYNTAX_H
#define TOOLS_QRTSCRIPT_CHECK_SYNTAX_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Places are byte offsets into the text.
struct Token {
    int kind; // the grammar's number: a character, or one of language/grammar.tab.h
    size_t begin, end;
};

// A run of tokens, by their places in Syntax::tokens; nothing when first == end.
struct TokenRange {
    size_t first = 0, end = 0;
    bool empty() const { return first >= end; }
};

// An operand, or a part of one.
struct Phrase {
    enum class Kind {
        token,       // as it stands: a word of a name, a path, a whole line
        empty,       //
        quoted,      // "...", with references in it
        word,        // a bare word: an identifier's or attribute's value, or itself
        identifier,  // %name
        environment, // %<name> and <name>
        member,      // MEMBER OF "..."
        not_member,  //
        sign,        // - or * inside a name
        join,        // parts one after the other
        arithmetic,  // of two parts
        file         // the name of a file
    };
    Kind kind;
    TokenRange tokens;
    std::vector<size_t> parts; // in Syntax::phrases
    char operation = '\0';     // of arithmetic
    std::string text;          // what a token that is a word, a quoted text or a whole line says
};

struct Condition {
    enum class Kind { bare, equal, not_equal, greater, not_less, less, not_greater, either, neither, both };
    Kind kind;
    bool numeric = false;      // begins with VALUE
    std::vector<size_t> parts; // phrases; conditions for either, neither and both
    TokenRange tokens;
    bool isCompound() const { return kind >= Kind::either; }
};

struct Statement {
    enum class Kind {
        blank,
        broken,   // could not be read
        if_block, // IF ... THEN and a line end
        if_one,   // IF ... THEN and a statement, which is the next of Syntax::statements
        if_broken,
        otherwise, // ELSE
        end,
        exit,
        go_to,
        label,
        remark,
        write,
        display_file,
        display_object,
        include_file,
        include_object,
        map,
        drive,
        program,
        program_nowait,
        set,
        set_empty,
        context,
        profile,
        tree,
        attach,
        other // one without operands of interest: see its first token
    };
    Kind kind;
    TokenRange tokens;            // with its line end
    std::vector<size_t> operands; // phrases
    size_t condition = 0;         // of an IF
    bool single = false;          // the one statement of the IF before it
    // What a login says of a statement that it cannot read, besides the report of the mistake.
    std::string complaint;
};

// What a login reports.
struct Mistake {
    size_t place; // of the unexpected token
    size_t length;
    std::string reason;     // in the parser's words
    std::string quotedLine; // which a login quotes
};

struct Syntax {
    std::string text;
    std::vector<Token> tokens;
    std::vector<Phrase> phrases;
    std::vector<Condition> conditions;
    std::vector<Statement> statements;
    std::vector<Mistake> mistakes;
    int openLevels = 0;               // IFs without an END
    bool endsEarly = false;           // the text ends within a statement
    std::optional<size_t> unreadFrom; // the parser stops here: a NUL, or no memory
    std::vector<size_t> joinedHomes;  // where "%home directory" was read as one word

    std::string_view spelling(const Token &token) const {
        return std::string_view(text).substr(token.begin, token.end - token.begin);
    }
    std::string_view spelling(TokenRange range) const;
    // The first byte of the first token and the one behind the last.
    size_t begin(TokenRange range) const;
    size_t end(TokenRange range) const;
    // The tokens of a statement without its line end.
    TokenRange body(const Statement &statement) const;
    // The keyword or sign that a statement begins with, 0 for an empty one.
    int keyword(const Statement &statement) const;
};

// The branch of an IF that each statement stands in: 0 outside of all, otherwise a number of its own for each branch.
// An IF itself stands where it is written, and so do ELSE and END.
std::vector<size_t> syntax_branches(const Syntax &syntax);

// For each IF with a block, broken ones too, the number of the ELSE or END that ends its first part; the count of the
// statements for one that has none, and for all other statements.
std::vector<size_t> syntax_part_ends(const Syntax &syntax);

// Reads the whole of a text; the text of the result has a line end of its own only if `text` has one. Not to be called
// by two threads at once: the parser is one for the process. Throws std::bad_alloc.
Syntax syntax_read(std::string_view text);

// The lines of a text: LF ends one, and the carriage returns in front of it belong to the end.
class Lines {
  public:
    explicit Lines(std::string_view text);
    size_t count() const { return starts_.size(); }
    // Both counted from 1; the column in bytes.
    size_t line(size_t place) const;
    size_t column(size_t place) const { return place - starts_[line(place) - 1] + 1; }
    size_t start(size_t line) const { return starts_[line - 1]; }
    std::string_view text(size_t line) const; // without its end

  private:
    std::string_view text_;
    std::vector<size_t> starts_, ends_; // as many of both
};

#endif
