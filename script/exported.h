// The exported names of this folder that are not in qrtscript.h, for callers of the library. They are defined in
// exports.cpp. Without a buffer they find the end, or nothing.
#ifndef SCRIPT_EXPORTED_H
#define SCRIPT_EXPORTED_H

#include <cstdint>

#pragma GCC visibility push(default)
extern "C" {

struct LexBuffer; // script/input_buffer.h

extern char *inputBuffer;  // used by nobody
extern int32_t inputIndex; // used by nobody

// Pushes a copy of `scriptText` (null: an empty text). Returns 0, or -1 when the stack is full or memory runs out.
int lex_addBuffer(const char *scriptText);

// The top entry, or null when the stack is empty.
LexBuffer *lex_activeBuffer();

// Frees the top entry unless it is the bottom one. Returns 0.
int lex_dropBuffer();

// The next character, or 0 at the end without moving on.
int lex_getchar(LexBuffer *buffer);
int lex_lookaheadchar(LexBuffer *buffer);

// lex_include. Returns 0.
int lex_IncludeFile(const char *includedText);

// lex_jump. Returns 0, or 1 when there is no such label.
int lex_goto(const char *label);

// syntax_error_report.
void yyerror(const char *message);
}
#pragma GCC visibility pop

#endif
