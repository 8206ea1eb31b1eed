// The tokenizer: turns the active buffer into the tokens of the grammar.
//
// It knows lines: at the start of each one it rewrites the two-word attribute spelling "%home directory", and on the
// parser's request it returns the whole rest of a line as one token. It has no errors; every character yields a token.
#ifndef LANGUAGE_TOKENIZER_H
#define LANGUAGE_TOKENIZER_H

#include <cstdint>

#include "base/text.h"
#include "script/input_buffer.h"

// Words are cut at this many characters.
constexpr int lex_max_word = 511;

#pragma GCC visibility push(default)
extern "C" {
extern int32_t end_of_line; // the next token starts a line. Set here and by parsescript_Run.
extern int32_t wholeline;   // the next token is the rest of the line. Set by the grammar, cleared here.
}
#pragma GCC visibility pop

// The next token's number, 0 at the end of the text. Words, quoted strings and whole lines leave new heap text in
// yylval; delimiters and the end leave it alone.
int tokenizer_next();

// Whether a character ends a word; NUL does. The full stop is part of words.
bool tokenizer_is_delimiter(int ch);

// The word up to the next delimiter:
OwnedText tokenizer_word(LexBuffer &buffer);
// The body of a quoted string whose opening quote has been read, its escapes translated:
OwnedText tokenizer_quoted(LexBuffer &buffer);
// The rest of the line, its line end left unread:
OwnedText tokenizer_line(LexBuffer &buffer);
// The same without reading it:
OwnedText tokenizer_look_at_line(const LexBuffer &buffer);

// Replaces the blank of each "%home directory" and ";home directory" behind the first character of the line at the read
// position by "_".
void tokenizer_join_home(LexBuffer &buffer);

#endif
