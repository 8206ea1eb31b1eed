// The exported names that are no part of the public interface (qrtscript.h). Each folder's exports.cpp defines its own;
// inside the library only traces use the names. Strings that are returned are new heap strings, null without memory.
#ifndef EXPORTED_H
#define EXPORTED_H

#include <stdint.h>

#pragma GCC visibility push(default)
extern "C" {

struct LexBuffer; // script/input_buffer.h

// ---- base ----

// The three joiners: a + separator + b. With a null, b itself is returned and the other way round: a caller that owns
// its arguments compares before it frees.
char *util_concat_filespec(char *a, char *b);    // separator "/"
char *util_concat_strings(char *a, char *b);     // separator " "
char *util_concat_strings_nos(char *a, char *b); // no separator

// Replaces the first occurrence of `find` in the heap text `s`, freeing it. Returns `s` itself when there is nothing to
// replace; without memory `s` is untouched.
char *util_parse_replace_string(char *s, const char *find, const char *repl);

// words_find_quote, words_hide_blanks. A null `str` is reported on standard output.
char *getQuote(char *str);
char prescanForQuotedStrings(char *str);
// Overwrites every `ch` in `str` (which may be null) with a blank.
void replaceChar(char *str, char ch);

// ---- script: without a buffer they find the end, or nothing ----

extern char *inputBuffer;  // unused
extern int32_t inputIndex; // unused

// lex_push; null is an empty text. Returns 0, or -1 when the stack is full or memory runs out.
int lex_addBuffer(const char *scriptText);
LexBuffer *lex_activeBuffer();
// Frees the top entry unless it is the bottom one. Returns 0.
int lex_dropBuffer();
int lex_getchar(LexBuffer *buffer);            // lex_next
int lex_lookaheadchar(LexBuffer *buffer);      // lex_look_ahead
int lex_IncludeFile(const char *includedText); // lex_include; returns 0
int lex_goto(const char *label);               // lex_jump; returns 0, or 1 when there is no such label
void yyerror(const char *message);             // syntax_error_report

// ---- commands ----

// drive_map of `word` with what follows it. `a`, `b` and `c` may be null; `b` is passed twice. Returns 0, or 1 and sets
// `syntax_error`.
int qrt_map_command(uint32_t handle, const char *word, const char *a, const char *b, const char *c);
// drive_change. Returns 1, or 0 when memory ran out.
int qrt_ChangeWorkingDir(uint32_t handle, const char *name);

// `*link` is the path of a drive's link, `*second` the link directory followed by `extra` (may be null); for an
// absolute `name`, or without a link directory, they are `name` and `extra` themselves. Returns 0.
int util_map_location(const char *name, const char *extra, char **link, char **second);
// The target of the mapping whose local path is `linkPath`, cut into `*server` and `*rest`. Returns 0, or 1 without
// such a mapping. A target without a separator is 0 too and leaves both alone.
int util_map_existing(const char *linkPath, char **server, char **rest);

// program_run, which is 1 also when memory ran out, and program_run_in_background, which is 0.
int execute_command(const char *line);
int execute_command_nowait(const char *line);

// server_file_read. Returns 0, or 1 and `*text` is null.
int qrt_GetFile(uint32_t handle, const char *server, const char *spec, char **text);
// volume_object_find: the server takes 49 bytes, the volume and the path 514 each.
uint32_t orbispec(const char *name, char *serverOut, char *volumeOut, char *pathOut);
// Frees two heap texts, either of which may be null. Silent; it is the place where FIRE PHASERS would get its sound.
void FirePhasers(char *count, char *second);

// ---- language ----

int yylex();                                  // tokenizer_next; without memory it returns the end of the text
int isDelimeter(int ch);                      // tokenizer_is_delimiter
char *lex_gettoken(LexBuffer *buffer);        // tokenizer_word
char *lex_quotestring(LexBuffer *buffer);     // tokenizer_quoted
char *lex_line(LexBuffer *buffer);            // tokenizer_line
char *lex_line_fetch(LexBuffer *buffer);      // tokenizer_look_at_line
int lex_find_replace_home(LexBuffer *buffer); // tokenizer_join_home; returns 0
}
#pragma GCC visibility pop

#endif
