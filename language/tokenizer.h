// The tokenizer: turns the active buffer into the tokens of the grammar.
//
// It knows lines: at the start of each one it rewrites the two-word attribute spelling "%home directory", and on the
// parser's request it returns the whole rest of a line as one token. It has no errors; every character yields a token.
#ifndef LANGUAGE_TOKENIZER_H
#define LANGUAGE_TOKENIZER_H

#include <cstdint>

#include "script/input_buffer.h"

// Words are cut at this many characters.
constexpr int lex_max_word = 511;

#pragma GCC visibility push(default)
extern "C" {

extern int32_t end_of_line; // the next token starts a line. Set here and by parsescript_Run.
extern int32_t wholeline;   // the next token is the rest of the line. Set by the grammar, cleared here.

// The next token's number, 0 at the end of the text. Words, quoted strings and whole lines leave new heap text in
// yylval; delimiters and the end leave it alone.
// Without memory it tells the end of the text.
int yylex();

// 1 for the 22 characters that end a word, else 0. The full stop is part of words.
int isDelimeter(int ch);

// Each returns new heap text, or null without memory or a buffer. The word up to the next delimiter:
char *lex_gettoken(LexBuffer *buffer);
// The body of a quoted string whose opening quote has been read, its escapes translated:
char *lex_quotestring(LexBuffer *buffer);
// The rest of the line, its line end left unread:
char *lex_line(LexBuffer *buffer);
// The same without reading it:
char *lex_line_fetch(LexBuffer *buffer);

// Replaces the blank of each "%home directory" and ";home directory" behind the first character of the line at the read
// position by "_". Returns 0.
int lex_find_replace_home(LexBuffer *buffer);
}
#pragma GCC visibility pop

// What the parser reads from: yylex() that throws std::bad_alloc, so that the parse ends when memory runs out.
int tokenizer_next();

#endif
