// The text that is being run: a stack of buffers with a read position each, of which the top one is the active buffer.
//
// The tokenizer reads characters from it, INCLUDE splices further text into it at the read position, GOTO moves the
// read position. Characters are unsigned bytes; 0 means the end. One live entry per running script is all that the
// language needs: included text is spliced, never pushed.
#ifndef SCRIPT_INPUT_BUFFER_H
#define SCRIPT_INPUT_BUFFER_H

#include <cstdint>

#pragma GCC visibility push(default)
extern "C" {

struct LexBuffer {
    char *data;      // heap text, owned by the entry
    int32_t readPos; // index of the next character
    int32_t length;  // without the NUL
};

constexpr int lex_stack_size = 100;

extern LexBuffer *ibufstack[lex_stack_size]; // entries in use are heap blocks. Set here, cleared by qrt_init.
extern int32_t ibufstackindex;               // entries in use. Set here and by parsescript_Run.
extern int32_t linecounter;                  // lines started in this process. Set by the tokenizer.
extern char *inputBuffer;                    // exported for callers, used by nobody
extern int32_t inputIndex;                   // exported for callers, used by nobody

// Pushes a copy of `scriptText` (null: an empty text). Returns 0, or -1 when the stack is full.
int lex_addBuffer(const char *scriptText);

// The top entry, or null when the stack is empty. Without a buffer the functions here find the end, or nothing.
LexBuffer *lex_activeBuffer();

// Frees the top entry unless it is the bottom one. Returns 0.
int lex_dropBuffer();

// The next character, or 0 at the end without moving on.
int lex_getchar(LexBuffer *buffer);
int lex_lookaheadchar(LexBuffer *buffer);

// Splices `includedText` and a line break into the active buffer at the read position. Returns 0. When memory runs out,
// includes nest more than 100 deep (a text that includes itself), or a script's included texts are more than 64 MiB
// together (one that includes itself twice), it says "memory exhausted" and changes nothing.
int lex_IncludeFile(const char *includedText);

// Moves the read position just behind the label, searched for from the top of the buffer: a line that begins with
// "label:", or else with ":label". Returns 0, or 1 when there is none or the label is longer than 77 bytes.
int lex_goto(const char *label);
}
#pragma GCC visibility pop

// Frees the top entry and leaves its slot counted.
void lex_free_active_buffer();

// How many texts have been made, by pushing and by splicing: tells whether the active one is still the same.
uint32_t lex_buffers_made();

#endif
