// What this folder exports.
#include "base/guard.h"
#include "include/exported.h"
#include "script/input_buffer.h"
#include "script/labels.h"
#include "script/syntax_error.h"

char *inputBuffer = nullptr;
int32_t inputIndex = 0;

int lex_addBuffer(const char *scriptText) {
    return guarded(
        -1,
        [&] {
            lex_push(scriptText != nullptr ? scriptText : "");
            return 0;
        });
}

LexBuffer *lex_activeBuffer() {
    return lex_active();
}

int lex_dropBuffer() {
    if (ibufstackindex < 2) return 0;
    lex_free_active_buffer();
    ibufstackindex--;
    return 0;
}

int lex_getchar(LexBuffer *buffer) {
    return buffer != nullptr ? lex_next(*buffer) : 0;
}
int lex_lookaheadchar(LexBuffer *buffer) {
    return buffer != nullptr ? lex_look_ahead(*buffer) : 0;
}

int lex_IncludeFile(const char *includedText) {
    lex_include(includedText != nullptr ? includedText : "");
    return 0;
}

int lex_goto(const char *label) {
    labels_forget(); // the caller may have written into the text
    return guarded(1, [&] { return label != nullptr && lex_jump(label) ? 0 : 1; });
}

void yyerror(const char *message) {
    syntax_error_report(message != nullptr ? message : "");
}
