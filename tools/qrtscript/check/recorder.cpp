// The functions that the grammar's actions call, as ones that record. The grammar and the tokenizer are the library's.
//
// Every text on the parser's stack is the number of a phrase: a token's text is replaced by one as soon as it has been
// read. A condition's value is the number of a condition.

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

#include "base/output.h"
#include "language/actions.h"
#include "language/grammar.tab.h"
#include "language/tokenizer.h"
#include "tools/qrtscript/check/recorder.h"

// What the library has in its output module. Nothing is written: what it would say is caught for the findings.
extern "C" {
int32_t debug_level = 0;
}
static std::string said;

int say(const char *message, ...) {
    va_list arguments, again;
    va_start(arguments, message);
    va_copy(again, arguments);
    const int length = vsnprintf(nullptr, 0, message, arguments);
    const size_t before = said.size();
    said.resize(before + static_cast<size_t>(length) + 1);
    vsnprintf(&said[before], static_cast<size_t>(length) + 1, message, again);
    said.pop_back();
    va_end(again);
    va_end(arguments);
    return 0;
}

void output_put(std::string_view text) {
    said += text;
}

const char *output_translate(const char *message) {
    return message;
}

void output_trace(TracedFunction, int, const char *, ...) {}

// What the linker puts in the place of three functions of the library, and those functions.
int record_token() asm("__wrap__Z14tokenizer_nextv");
int library_token() asm("__real__Z14tokenizer_nextv");
void record_mistake(const char *reason) asm("__wrap__Z19syntax_error_reportPKc");
void library_mistake(const char *reason) asm("__real__Z19syntax_error_reportPKc");
void record_format_error(OwnedText keyword) asm("__wrap__Z12format_errorSt10unique_ptrIc8TextFreeE");
void library_format_error(OwnedText keyword) asm("__real__Z12format_errorSt10unique_ptrIc8TextFreeE");

namespace {

constexpr int no_look_ahead = -2;

struct Recording {
    Syntax syntax;
    size_t start = 0;              // the first token of the statement that is being read
    bool ended = false;            // a statement has been completed: the parse ends, so that the next one starts afresh
    bool exhausted = false;        // there is nothing more to read
    size_t mistakesBefore = 0;     // when the statement began
    std::vector<size_t> singleIfs; // around the statement that is being read
    int tooDeep = 0;
    std::string complaint;
};

Recording *recording = nullptr;

// ---- phrases and conditions by number ----

OwnedText text_of(size_t phrase) {
    return text_copy(std::to_string(phrase));
}

// The tokens that the parser has taken: all that were read but the look-ahead.
size_t taken() {
    const size_t count = recording->syntax.tokens.size();
    return yychar == no_look_ahead || yychar == 0 ? count : count - 1;
}

size_t add_phrase(Phrase::Kind kind, TokenRange tokens, std::vector<size_t> parts = {}) {
    Phrase phrase;
    phrase.kind = kind;
    phrase.tokens = tokens;
    phrase.parts = std::move(parts);
    recording->syntax.phrases.push_back(std::move(phrase));
    return recording->syntax.phrases.size() - 1;
}

TokenRange range_of(const std::vector<size_t> &parts) {
    TokenRange range = {taken(), taken()};
    bool found = false;
    for (const size_t part : parts) {
        const TokenRange one = recording->syntax.phrases[part].tokens;
        if (one.empty()) continue;
        if (!found) range.first = one.first;
        range.end = one.end;
        found = true;
    }
    return range;
}

template <typename... Texts>
OwnedText compose(Phrase::Kind kind, const Texts &...texts) {
    const std::vector<size_t> parts = {recorder_phrase(texts)...};
    return text_of(add_phrase(kind, range_of(parts), parts));
}

// The range is widened to the signs around the parts.
OwnedText widened(OwnedText text, const char *before, const char *after) {
    TokenRange &range = recording->syntax.phrases[recorder_phrase(text)].tokens;
    const auto kind = [](size_t token) { return recording->syntax.tokens[token].kind; };
    for (const char *sign = before; *sign != '\0' && range.first > recording->start; ++sign)
        if (kind(range.first - 1) == *sign) --range.first;
    for (const char *sign = after; *sign != '\0' && range.end < recording->syntax.tokens.size(); ++sign)
        if (kind(range.end) == *sign) ++range.end;
    return text;
}

int32_t add_condition(Condition condition) {
    recording->syntax.conditions.push_back(std::move(condition));
    return static_cast<int32_t>(recording->syntax.conditions.size() - 1);
}

int32_t compound(Condition::Kind kind, int32_t left, int32_t right) {
    const size_t a = static_cast<size_t>(left), b = static_cast<size_t>(right);
    const auto &all = recording->syntax.conditions;
    return add_condition({kind, false, {a, b}, {all[a].tokens.first, all[b].tokens.end}});
}

// ---- statements ----

bool has_mistake() {
    return recording->syntax.mistakes.size() > recording->mistakesBefore;
}

// A statement that called nothing.
void record_pending() {
    const Recording &now = *recording;
    if (now.start >= taken()) return;
    Statement::Kind kind = Statement::Kind::blank;
    for (size_t token = now.start; token < taken(); ++token) {
        const int sign = now.syntax.tokens[token].kind;
        if (sign != '\n' && sign != '\r') kind = Statement::Kind::other;
    }
    switch (now.syntax.tokens[now.start].kind) {
        case KW_REM:
        case KW_REMARK:
        case '*':
        case ';':
            kind = Statement::Kind::remark;
    }
    if (has_mistake()) kind = Statement::Kind::broken;
    recorder_statement(kind);
}

void enter_level() {
    Recording &now = *recording;
    if (now.syntax.openLevels == cond_levels - 1) {
        if (now.tooDeep++ == 0) syntax_error_report("IF nested too deep");
        return;
    }
    ++now.syntax.openLevels;
}

void leave_level() {
    Recording &now = *recording;
    if (now.tooDeep > 0)
        --now.tooDeep;
    else if (now.syntax.openLevels > 0)
        --now.syntax.openLevels;
}

bool begins_with_end() {
    const Recording &now = *recording;
    if (now.start >= taken() || has_mistake()) return false;
    const int keyword = now.syntax.tokens[now.start].kind;
    return keyword == KW_END || keyword == KW_ENDIF;
}

} // namespace

size_t recorder_phrase(const OwnedText &text) {
    return strtoul(text.get(), nullptr, 10);
}

Statement &recorder_statement(Statement::Kind kind) {
    Recording &now = *recording;
    Statement statement;
    statement.kind = kind;
    statement.tokens = {now.start, taken()};
    statement.single = !now.singleIfs.empty();
    statement.complaint = std::exchange(now.complaint, "");
    now.syntax.statements.push_back(std::move(statement));
    now.start = taken();
    now.mistakesBefore = now.syntax.mistakes.size();
    return now.syntax.statements.back();
}

// ---- what the parser reads, and reports ----

int record_token() {
    Recording &now = *recording;
    LexBuffer &buffer = *lex_active();
    if (now.ended) return 0;
    size_t begin = static_cast<size_t>(buffer.readPos);
    const int kind = library_token();
    const size_t end = static_cast<size_t>(buffer.readPos);
    if (kind == 0) {
        now.exhausted = true;
        return 0;
    }
    if (kind != WHOLELINE)
        while (buffer.data[begin] == ' ' || buffer.data[begin] == '\t') ++begin;
    now.syntax.tokens.push_back({kind, begin, end});
    if (kind < KW_WRITE) return kind; // a sign has no text
    const OwnedText text(std::exchange(yylval.text, nullptr));
    const size_t place = now.syntax.tokens.size() - 1;
    const size_t phrase = add_phrase(Phrase::Kind::token, {place, place + 1});
    now.syntax.phrases[phrase].text = text.get();
    yylval.text = text_of(phrase).release();
    return kind;
}

void record_mistake(const char *reason) {
    Syntax &syntax = recording->syntax;
    said.clear();
    library_mistake(reason);
    const size_t from = said.find("was:\n") + 5;
    Mistake mistake = {syntax.text.size(), 0, reason, said.substr(from, said.find('\n', from) - from)};
    // The unexpected token is the last that was read, except at the end.
    if (yychar != 0 && !syntax.tokens.empty()) {
        mistake.place = syntax.tokens.back().begin;
        mistake.length = syntax.tokens.back().end - mistake.place;
    }
    syntax.mistakes.push_back(std::move(mistake));
}

void record_format_error(OwnedText keyword) {
    const Syntax &syntax = recording->syntax;
    said.clear();
    library_format_error(text_copy(syntax.spelling(syntax.phrases[recorder_phrase(keyword)].tokens)));
    recording->complaint = said;
}

// ---- the end of a statement ----

void statement_completed() {
    wholeline = 0; // as the library does
    record_pending();
    recording->singleIfs.clear();
    recording->ended = true;
}

bool condition_executing() {
    return true;
}

// ---- phrases ----

OwnedText phrase_empty() {
    return compose(Phrase::Kind::empty);
}
OwnedText phrase_sign(const char *) {
    const size_t last = recording->syntax.tokens.size();
    return text_of(add_phrase(Phrase::Kind::sign, {last - 1, last}));
}
OwnedText phrase_join(OwnedText a, OwnedText b) {
    return compose(Phrase::Kind::join, a, b);
}
OwnedText phrase_join(OwnedText a, OwnedText b, OwnedText c) {
    return compose(Phrase::Kind::join, a, b, c);
}
OwnedText phrase_quoted(OwnedText text) {
    return compose(Phrase::Kind::quoted, text);
}
OwnedText phrase_identifier(OwnedText name) {
    return widened(compose(Phrase::Kind::identifier, name), "%", "");
}
OwnedText phrase_word(OwnedText word) {
    return compose(Phrase::Kind::word, word);
}
OwnedText phrase_environment(OwnedText name) {
    return widened(compose(Phrase::Kind::environment, name), "<%", ">");
}
OwnedText phrase_member(OwnedText group) {
    return compose(Phrase::Kind::member, group);
}
OwnedText phrase_not_member(OwnedText group) {
    return compose(Phrase::Kind::not_member, group);
}
OwnedText phrase_calculate(char operation, OwnedText left, OwnedText right) {
    OwnedText text = compose(Phrase::Kind::arithmetic, left, right);
    recording->syntax.phrases[recorder_phrase(text)].operation = operation;
    return text;
}

OwnedText file_on_volume(OwnedText volume, OwnedText path) {
    return compose(Phrase::Kind::file, volume, path);
}
OwnedText file_on_server(OwnedText server, OwnedText volume, OwnedText path) {
    return compose(Phrase::Kind::file, server, volume, path);
}
OwnedText file_plain(OwnedText path) {
    return compose(Phrase::Kind::file, path);
}
OwnedText file_unc(OwnedText server, OwnedText path) {
    return compose(Phrase::Kind::file, server, path);
}
OwnedText file_dotted(OwnedText name, OwnedText path) {
    return compose(Phrase::Kind::file, name, path);
}
OwnedText file_upper_case(OwnedText name) {
    return name;
}
OwnedText path_after_word(OwnedText word, OwnedText rest) {
    return compose(Phrase::Kind::join, word, rest);
}
OwnedText path_after_separator(OwnedText rest) {
    return widened(compose(Phrase::Kind::join, rest), "/\\", "");
}

// ---- conditions ----

static bool numeric_operand = false;

OwnedText cond_string_operand(OwnedText text) {
    numeric_operand = false;
    return text;
}
OwnedText cond_numeric_operand(OwnedText text) {
    numeric_operand = true;
    return text;
}
int32_t cond_compare(Comparison comparison, OwnedText left, OwnedText right) {
    static constexpr Condition::Kind kinds[] = {Condition::Kind::equal,   Condition::Kind::not_equal,
                                                Condition::Kind::greater, Condition::Kind::not_less,
                                                Condition::Kind::less,    Condition::Kind::not_greater};
    const std::vector<size_t> parts = {recorder_phrase(left), recorder_phrase(right)};
    return add_condition({kinds[comparison], std::exchange(numeric_operand, false), parts, range_of(parts)});
}
int32_t cond_bare(OwnedText text) {
    const std::vector<size_t> parts = {recorder_phrase(text)};
    return add_condition({Condition::Kind::bare, std::exchange(numeric_operand, false), parts, range_of(parts)});
}
int32_t cond_or(int32_t left, int32_t right) {
    return compound(Condition::Kind::either, left, right);
}
int32_t cond_nor(int32_t left, int32_t right) {
    return compound(Condition::Kind::neither, left, right);
}
int32_t cond_and(int32_t left, int32_t right) {
    return compound(Condition::Kind::both, left, right);
}

void cond_enter(int32_t condition) {
    enter_level();
    // A block's line end has been taken; the first token of a single statement has been looked at.
    const bool block = yychar == no_look_ahead;
    recorder_statement(block ? Statement::Kind::if_block : Statement::Kind::if_one).condition =
        static_cast<size_t>(condition);
    if (!block) recording->singleIfs.push_back(recording->syntax.statements.size() - 1);
}
void cond_enter_unreadable() {
    enter_level();
    recorder_statement(Statement::Kind::if_broken).complaint = "Invalid if statement \n";
}
void cond_leave() {
    leave_level();
    if (begins_with_end()) {
        recorder_statement(Statement::Kind::end);
        return;
    }
    record_pending();
    if (!recording->singleIfs.empty()) recording->singleIfs.pop_back();
}
void else_statement() {
    recorder_statement(Statement::Kind::otherwise);
}

void label_is_reserved() {
    syntax_error_report("Reserved words cannot be used as labels");
    const Token &label = recording->syntax.tokens[taken() - 1];
    recording->syntax.mistakes.back().place = label.begin;
    recording->syntax.mistakes.back().length = label.end - label.begin;
}

// ---- a whole text ----

namespace {

// The buffer of one reading, which is gone with it on every path.
class ReadText {
  public:
    ReadText(std::string_view text, Recording *now) {
        recording = now;
        ibufstackindex = 0;
        lex_push(text);
    }
    ~ReadText() {
        lex_free_active_buffer();
        ibufstackindex = 0;
        recording = nullptr;
    }
    ReadText(const ReadText &) = delete;
    ReadText &operator=(const ReadText &) = delete;
};

} // namespace

// Where the tokenizer has joined the two words.
static void note_joined_homes(Syntax *syntax) {
    const LexBuffer &buffer = *lex_active();
    for (size_t place = 0; place < syntax->text.size(); ++place)
        if (buffer.data[place] != syntax->text[place]) syntax->joinedHomes.push_back(place);
}

Syntax syntax_read(std::string_view text) {
    Recording now;
    now.syntax.text = text;
    // About as many as most scripts have, so that few are moved while they grow.
    now.syntax.tokens.reserve(text.size() / 5);
    now.syntax.phrases.reserve(text.size() / 12);
    const ReadText held(text, &now);
    const LexBuffer &buffer = *lex_active();
    end_of_line = 1;
    wholeline = 0;
    int result = 0;
    // One parse reads one statement, so that no mistake hides the next one.
    do {
        now.ended = false;
        result = yyparse();
        record_pending();
        now.singleIfs.clear();
    } while (result == 0 && !now.exhausted);
    now.syntax.endsEarly = result == 1;
    if (buffer.readPos < buffer.length) now.syntax.unreadFrom = static_cast<size_t>(buffer.readPos);
    note_joined_homes(&now.syntax);
    return std::move(now.syntax);
}
