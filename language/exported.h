// The exported names of this folder that are not in qrtscript.h, for callers of the library. They are defined in
// exports.cpp.
#ifndef LANGUAGE_EXPORTED_H
#define LANGUAGE_EXPORTED_H

#pragma GCC visibility push(default)
extern "C" {

struct LexBuffer; // script/input_buffer.h

// tokenizer_next. Without memory it tells the end of the text.
int yylex();

// 1 for the 22 characters that end a word, else 0. The full stop is part of words.
int isDelimeter(int ch);

// The tokenizer's readers of one text each: new heap text, or null without memory or a buffer.
char *lex_gettoken(LexBuffer *buffer);
char *lex_quotestring(LexBuffer *buffer);
char *lex_line(LexBuffer *buffer);
char *lex_line_fetch(LexBuffer *buffer); // tokenizer_look_at_line

// tokenizer_join_home. Returns 0.
int lex_find_replace_home(LexBuffer *buffer);
}
#pragma GCC visibility pop

#endif
