#include "language/tokenizer.h"

#include <cstring>
#include <string>

#include "base/output.h"
#include "include/exported.h"
#include "language/grammar.tab.h"
#include "language/token_names.h"

int32_t end_of_line = 0;
int32_t wholeline = 0;

static constexpr int lex_named_tokens = yacc_EOF - lex_token_number(0) + 1;

bool tokenizer_is_delimiter(int ch) {
    static const char delimiters[] = " \t\n\r:;\\/\"#@%*+-()!=<>"; // and its NUL
    const bool found = ch >= 0 && ch < 256 && memchr(delimiters, ch, sizeof delimiters) != nullptr;
    if (found) TRACE(isDelimeter, 7, "delimiter found");
    return found;
}

OwnedText tokenizer_word(LexBuffer &buffer) {
    const char *word = buffer.data + buffer.readPos;
    while (!tokenizer_is_delimiter(lex_look_ahead(buffer))) buffer.readPos++;
    const size_t length = static_cast<size_t>(buffer.data + buffer.readPos - word);
    return text_copy({word, length < lex_max_word ? length : lex_max_word});
}

static size_t line_length(const LexBuffer &buffer) {
    return strcspn(buffer.data + buffer.readPos, "\r\n");
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
    while (strchr("\"\r\n", raw[length]) == nullptr) length += raw[length] == '\\' && raw[length + 1] == '"' ? 2 : 1;
    buffer.readPos += static_cast<int32_t>(length);
    // The closing quote belongs to the string; a line end is still the statement's.
    if (raw[length] == '"') buffer.readPos++;
    return text_copy(translate_escapes({raw, length}, raw[length]));
}

void tokenizer_join_home(LexBuffer &buffer) {
    constexpr std::string_view words = "home directory";
    char *line = buffer.data + buffer.readPos;
    char *end = line + line_length(buffer);
    // The first character of the line is not examined: required, the statement's own keyword stands there.
    for (char *at = line + 1; at < end; at++) {
        if (*at != '%' && *at != ';') continue;
        const std::string_view rest(at + 1, static_cast<size_t>(end - at - 1));
        if (equal_nocase(rest.substr(0, words.size()), words)) *strchr(at, ' ') = '_';
    }
}

// The number of the keyword that `word` spells in any letter case, or STRING.
static int keyword_number(const char *word) {
    // Every word of a script is compared with every name: most differ in their first letter, whatever its case.
    constexpr int caseBit = 'a' ^ 'A';
    const int first = *word | caseBit;
    for (int i = 0; i < lex_named_tokens; i++) {
        const char *quoted = lex_token_names[i];
        if (quoted[0] != '"' || (quoted[1] | caseBit) != first) continue;
        const std::string_view name(quoted + 1, strlen(quoted) - 2);
        if (equal_nocase(name, word)) return lex_token_number(i);
    }
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
    yylval.text = tokenizer_word(buffer).release();
    return keyword_number(yylval.text);
}
