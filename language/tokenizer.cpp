#include "language/tokenizer.h"

#include <cstring>
#include <new>
#include <string>

#include "base/output.h"
#include "base/text.h"
#include "language/grammar.tab.h"
#include "language/token_names.h"

int32_t end_of_line = 0;
int32_t wholeline = 0;

static constexpr int lex_named_tokens = yacc_EOF - lex_token_number(0) + 1;

int isDelimeter(int ch) {
    static const char delimiters[] = " \t\n\r:;\\/\"#@%*+-()!=<>"; // and its NUL
    const bool found = ch >= 0 && ch < 256 && memchr(delimiters, ch, sizeof delimiters);
    if (found) TRACE(isDelimeter, 7, "delimiter found");
    return found;
}

static OwnedText take_word(LexBuffer *buffer) {
    const char *word = buffer->data + buffer->readPos;
    while (!isDelimeter(lex_lookaheadchar(buffer))) buffer->readPos++;
    const size_t length = static_cast<size_t>(buffer->data + buffer->readPos - word);
    return text_copy({word, length < lex_max_word ? length : lex_max_word});
}

// The exported readers of one text each: without memory there is none.
static char *or_null(OwnedText (*take)(LexBuffer *), LexBuffer *buffer) try {
    return buffer ? take(buffer).release() : nullptr;
} catch (const std::bad_alloc &) {
    return nullptr;
}

char *lex_gettoken(LexBuffer *buffer) {
    return or_null(take_word, buffer);
}

static size_t line_length(const LexBuffer *buffer) {
    return strcspn(buffer->data + buffer->readPos, "\r\n");
}

static OwnedText look_at_line(LexBuffer *buffer) {
    return text_copy({buffer->data + buffer->readPos, line_length(buffer)});
}

char *lex_line_fetch(LexBuffer *buffer) {
    return or_null(look_at_line, buffer);
}

static OwnedText take_line(LexBuffer *buffer) {
    OwnedText line = look_at_line(buffer);
    buffer->readPos += static_cast<int32_t>(line_length(buffer));
    return line;
}

char *lex_line(LexBuffer *buffer) {
    return or_null(take_line, buffer);
}

// Translates the escapes of `raw`; `end` is the character that ended the string.
static std::string translate_escapes(std::string_view raw, char end) {
    std::string text;
    for (size_t i = 0; i < raw.size(); i++) {
        if (raw[i] != '\\') {
            text += raw[i];
            continue;
        }
        if (i + 1 == raw.size()) {
            // Required: a backslash that is cut off takes the character that ended the string in its place.
            if (end) text += end;
            break;
        }
        switch (raw[i + 1]) {
            case 'r':
                text += '\r';
                break;
            case 'n':
                text += '\n';
                break;
            case '7':
                text += '\a';
                break;
            case '"':
                text += '"';
                break;
            case '\\':
                text += '\\';
                break;
            default:
                text += '\\';
                continue;
        }
        i++;
    }
    return text;
}

static OwnedText take_quoted(LexBuffer *buffer) {
    const char *raw = buffer->data + buffer->readPos;
    size_t length = 0;
    while (!strchr("\"\r\n", raw[length])) length += raw[length] == '\\' && raw[length + 1] == '"' ? 2 : 1;
    buffer->readPos += static_cast<int32_t>(length);
    // The closing quote belongs to the string; a line end is still the statement's.
    if (raw[length] == '"') buffer->readPos++;
    return text_copy(translate_escapes({raw, length}, raw[length]));
}

char *lex_quotestring(LexBuffer *buffer) {
    return or_null(take_quoted, buffer);
}

int lex_find_replace_home(LexBuffer *buffer) {
    constexpr std::string_view words = "home directory";
    if (!buffer) return 0;
    char *line = buffer->data + buffer->readPos;
    char *end = line + line_length(buffer);
    // The first character of the line is not examined: required, the statement's own keyword stands there.
    for (char *at = line + 1; at < end; at++) {
        if (*at != '%' && *at != ';') continue;
        const std::string_view rest(at + 1, static_cast<size_t>(end - at - 1));
        if (text_equal_nocase(rest.substr(0, words.size()), words)) *strchr(at, ' ') = '_';
    }
    return 0;
}

// The number of the keyword that `word` spells in any letter case, or STRING.
static int keyword_number(const char *word) {
    // Every word of a script is compared with every name: most differ in their first letter, whatever its case.
    constexpr int case_bit = 'a' ^ 'A';
    const int first = *word | case_bit;
    for (int i = 0; i < lex_named_tokens; i++) {
        const char *quoted = lex_token_names[i];
        if (quoted[0] != '"' || (quoted[1] | case_bit) != first) continue;
        const std::string_view name(quoted + 1, strlen(quoted) - 2);
        if (text_equal_nocase(name, word)) return lex_token_number(i);
    }
    return STRING;
}

static void start_line(LexBuffer *buffer) {
    lex_find_replace_home(buffer);
    linecounter++;
    if (debug_level > 0) {
        const OwnedText line = look_at_line(buffer);
        TRACE(yylex, 0, "LINENO:%i %s", linecounter, line.get()); // GCOVR_EXCL_BR_LINE: the level has been asked for
    }
    end_of_line = 0;
}

static void trace_delimiter(int ch) {
    if (ch == '\n') {
        TRACE(yylex, 6, "yylex end:cc=%s", "<LF>");
    } else if (ch == '\r') {
        TRACE(yylex, 6, "yylex end:cc=%s", "<CR>");
    } else {
        TRACE(yylex, 6, "yylex end:cc=\"%c\"", ch);
    }
}

static int delimiter_token(int ch) {
    if (ch == '\n') end_of_line = 1;
    trace_delimiter(ch);
    return ch;
}

int tokenizer_next() {
    TRACE(yylex, 5, "Entering parser (needs more input)");
    LexBuffer *buffer = lex_activeBuffer();
    if (!buffer) return 0;
    if (end_of_line) start_line(buffer);
    if (wholeline) {
        yylval.text = take_line(buffer).release();
        wholeline = 0;
        return WHOLELINE;
    }
    int ch = lex_getchar(buffer);
    while (ch == ' ' || ch == '\t') ch = lex_getchar(buffer);
    if (ch == 0) return 0;
    if (ch == '"') {
        yylval.text = take_quoted(buffer).release();
        return QUOTEDSTRING;
    }
    if (isDelimeter(ch)) return delimiter_token(ch);
    buffer->readPos--;
    yylval.text = take_word(buffer).release();
    return keyword_number(yylval.text);
}

int yylex() try { return tokenizer_next(); } catch (const std::bad_alloc &) {
    return 0;
}
