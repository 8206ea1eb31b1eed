// The text that is being run: a stack of buffers with a read position each, of which the top one is the active buffer.
//
// The tokenizer reads characters from it, INCLUDE splices further text into it at the read position, GOTO moves the
// read position. Characters are unsigned bytes; 0 means the end. One live entry per running script is all that the
// language needs: included text is spliced, never pushed.
#ifndef SCRIPT_INPUT_BUFFER_H
#define SCRIPT_INPUT_BUFFER_H

#include <cstdint>
#include <string_view>

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
}
#pragma GCC visibility pop

// Pushes a copy of `text`. Throws std::bad_alloc, also when the stack is full.
void lex_push(std::string_view text);

// The top entry, or null when the stack is empty.
inline LexBuffer *lex_active() {
    return ibufstackindex > 0 ? ibufstack[ibufstackindex - 1] : nullptr;
}

// Frees the top entry and leaves its slot counted.
void lex_free_active_buffer();

// The next character, or 0 at the end without moving on.
inline int lex_look_ahead(const LexBuffer &buffer) {
    return buffer.readPos < buffer.length ? static_cast<unsigned char>(buffer.data[buffer.readPos]) : 0;
}
inline int lex_next(LexBuffer &buffer) {
    return buffer.readPos < buffer.length ? static_cast<unsigned char>(buffer.data[buffer.readPos++]) : 0;
}

// Splices `text` and a line break into the active buffer at the read position. When memory runs out, includes nest more
// than 100 deep (a text that includes itself), or a script's included texts are more than 64 MiB together (one that
// includes itself twice), it says "memory exhausted" and changes nothing.
void lex_include(std::string_view text);

// Moves the read position just behind the label, searched for from the top of the buffer: a line that begins with
// "label:", or else with ":label". False when there is none or the label is longer than 77 bytes.
bool lex_jump(std::string_view label);

// How many texts have been made, by pushing and by splicing: shows whether the active one is still the same.
uint32_t lex_buffers_made();

#endif
