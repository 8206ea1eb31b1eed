#include "language/tokenizer.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "base/output.h"
#include "include/exported.h"
#include "language/grammar.tab.h"
#include "language/token_names.h"

int32_t end_of_line = 0;
int32_t wholeline = 0;

static constexpr int lex_named_tokens = yacc_EOF - lex_token_number(0) + 1;

// A set of characters, NUL among them always. Most runs of a script's characters are shorter than it takes the C
// library to prepare a search.
static constexpr std::array<bool, 256> characters(std::string_view members) {
    std::array<bool, 256> set = {true};
    for (const char c : members) set[static_cast<unsigned char>(c)] = true;
    return set;
}

static constexpr std::array<bool, 256> delimiters = characters(" \t\n\r:;\\/\"#@%*+-()!=<>");
static constexpr std::array<bool, 256> line_ends = characters("\r\n");
static constexpr std::array<bool, 256> quoted_signs = characters("\"\\\r\n");
static constexpr std::array<bool, 256> home_signs = characters("%;\r\n");

// The length of the text up to the first character of the set.
static size_t length_up_to(const std::array<bool, 256> &set, const char *text) {
    size_t length = 0;
    while (!set[static_cast<unsigned char>(text[length])]) length++;
    return length;
}

bool tokenizer_is_delimiter(int ch) {
    const bool found = ch >= 0 && ch < 256 && delimiters[static_cast<size_t>(ch)];
    if (found) TRACE(isDelimeter, 7, "delimiter found");
    return found;
}

static std::string_view read_word(LexBuffer &buffer) {
    const std::string_view word(buffer.data + buffer.readPos, length_up_to(delimiters, buffer.data + buffer.readPos));
    TRACE(isDelimeter, 7, "delimiter found");
    buffer.readPos += static_cast<int32_t>(word.size());
    return word.substr(0, lex_max_word);
}

OwnedText tokenizer_word(LexBuffer &buffer) {
    return text_copy(read_word(buffer));
}

static size_t line_length(const LexBuffer &buffer) {
    return length_up_to(line_ends, buffer.data + buffer.readPos);
}

OwnedText tokenizer_look_at_line(const LexBuffer &buffer) {
    return text_copy({buffer.data + buffer.readPos, line_length(buffer)});
}

OwnedText tokenizer_line(LexBuffer &buffer) {
    OwnedText line = tokenizer_look_at_line(buffer);
    buffer.readPos += static_cast<int32_t>(line_length(buffer));
    return line;
}

// Translates the escapes of `raw`; `end` is the character that ended the string.
static std::string translate_escapes(std::string_view raw, char end) {
    static constexpr std::string_view letters = "rn7\"\\", meanings = "\r\n\a\"\\";
    std::string text;
    for (size_t i = 0; i < raw.size(); i++) {
        if (raw[i] == '\\' && i + 1 == raw.size()) {
            // Required: a backslash that is cut off takes the character that ended the string in its place.
            if (end) text += end;
            break;
        }
        const size_t escape = raw[i] == '\\' ? letters.find(raw[i + 1]) : letters.npos;
        text += escape == letters.npos ? raw[i] : meanings[escape];
        if (escape != letters.npos) i++;
    }
    return text;
}

OwnedText tokenizer_quoted(LexBuffer &buffer) {
    const char *raw = buffer.data + buffer.readPos;
    size_t length = 0;
    bool hasEscapes = false;
    while (raw[length += length_up_to(quoted_signs, raw + length)] == '\\') {
        hasEscapes = true;
        length += raw[length + 1] == '"' ? 2 : 1;
    }
    buffer.readPos += static_cast<int32_t>(length);
    // The closing quote belongs to the string; a line end is still the statement's.
    if (raw[length] == '"') buffer.readPos++;
    if (!hasEscapes) return text_copy({raw, length});
    return text_copy(translate_escapes({raw, length}, raw[length]));
}

static bool begins_with_nocase(const char *text, std::string_view word) {
    const auto same = [&](char c) { return lower_case(*text++) == c; };
    return std::all_of(word.begin(), word.end(), same);
}

void tokenizer_join_home(LexBuffer &buffer) {
    constexpr std::string_view words = "home directory";
    char *line = buffer.data + buffer.readPos;
    if (line_ends[static_cast<unsigned char>(*line)]) return;
    // The first character of the line is not examined: required, the statement's own keyword stands there.
    for (char *at = line + 1; *(at += length_up_to(home_signs, at)) == '%' || *at == ';'; at++)
        if (begins_with_nocase(at + 1, words)) *strchr(at, ' ') = '_';
}

namespace {

// A keyword of the parser's table: its spelling without the quotes, and its number.
struct Keyword {
    std::string_view name;
    int number;
};

// The keywords by what a word's length and ends come to, so that a word of a script is compared with few of them.
struct KeywordTable {
    std::array<Keyword, 256> rows = {};
    KeywordTable();
};

} // namespace

static size_t keyword_place(std::string_view word) {
    constexpr unsigned caseBit = 'a' ^ 'A';
    const unsigned first = static_cast<unsigned char>(word.front()) | caseBit;
    const unsigned last = static_cast<unsigned char>(word.back()) | caseBit;
    return (first * 7U + last * 29U + word.size() * 53U) % 256;
}

KeywordTable::KeywordTable() {
    for (int i = 0; i < lex_named_tokens; i++) {
        const std::string_view quoted = lex_token_names[i];
        if (quoted.front() != '"') continue;
        const std::string_view name = quoted.substr(1, quoted.size() - 2);
        size_t place = keyword_place(name);
        while (!rows[place].name.empty()) place = (place + 1) % rows.size();
        rows[place] = {name, lex_token_number(i)};
    }
}

static const KeywordTable keywords;

// The number of the keyword that `word` spells in any letter case, or STRING.
static int keyword_number(std::string_view word) {
    size_t place = keyword_place(word);
    for (; !keywords.rows[place].name.empty(); place = (place + 1) % keywords.rows.size())
        if (equal_nocase(keywords.rows[place].name, word)) return keywords.rows[place].number;
    return STRING;
}

static void start_line(LexBuffer &buffer) {
    tokenizer_join_home(buffer);
    linecounter++;
    if (debug_level > 0) {
        const OwnedText line = tokenizer_look_at_line(buffer);
        TRACE(yylex, 0, "LINENO:%i %s", linecounter, line.get()); // GCOVR_EXCL_BR_LINE: the level has been asked for
    }
    end_of_line = 0;
}

static void trace_delimiter(int ch) {
    if (ch == '\n')
        TRACE(yylex, 6, "yylex end:cc=%s", "<LF>");
    else if (ch == '\r')
        TRACE(yylex, 6, "yylex end:cc=%s", "<CR>");
    else
        TRACE(yylex, 6, "yylex end:cc=\"%c\"", ch);
}

static int delimiter_token(int ch) {
    if (ch == '\n') end_of_line = 1;
    trace_delimiter(ch);
    return ch;
}

int tokenizer_next() {
    TRACE(yylex, 5, "Entering parser (needs more input)");
    LexBuffer *active = lex_active();
    if (active == nullptr) return 0;
    LexBuffer &buffer = *active;
    if (end_of_line) start_line(buffer);
    if (wholeline) {
        yylval.text = tokenizer_line(buffer).release();
        wholeline = 0;
        return WHOLELINE;
    }
    int ch = lex_next(buffer);
    while (ch == ' ' || ch == '\t') ch = lex_next(buffer);
    if (ch == 0) return 0;
    if (ch == '"') {
        yylval.text = tokenizer_quoted(buffer).release();
        return QUOTEDSTRING;
    }
    if (tokenizer_is_delimiter(ch)) return delimiter_token(ch);
    buffer.readPos--;
    const std::string_view word = read_word(buffer);
    yylval.text = text_copy(word).release();
    return keyword_number(word);
}
