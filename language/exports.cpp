// What this folder exports besides the parser.
#include "base/guard.h"
#include "base/output.h"
#include "include/exported.h"
#include "language/script_runner.h"
#include "language/tokenizer.h"
#include "qrtscript.h"

int yylex() {
    return guarded(0, tokenizer_next);
}

int isDelimeter(int ch) {
    return tokenizer_is_delimiter(ch) ? 1 : 0;
}

template <typename Buffer>
static char *text_of(OwnedText (*take)(Buffer &buffer), LexBuffer *buffer) {
    return guarded(
        nullptr, [&]() -> char * { return buffer ? take(*buffer).release() : nullptr; });
}

char *lex_gettoken(LexBuffer *buffer) {
    return text_of(tokenizer_word, buffer);
}
char *lex_quotestring(LexBuffer *buffer) {
    return text_of(tokenizer_quoted, buffer);
}
char *lex_line(LexBuffer *buffer) {
    return text_of(tokenizer_line, buffer);
}
char *lex_line_fetch(LexBuffer *buffer) {
    return text_of(tokenizer_look_at_line, buffer);
}

int lex_find_replace_home(LexBuffer *buffer) {
    if (buffer != nullptr) tokenizer_join_home(*buffer);
    return 0;
}

int parsescript_Run(const char *text, char *objectName, uint32_t contextHandle) {
    return script_run(text != nullptr ? text : "", objectName, contextHandle);
}

int qrt_RunScript(const char *text) {
    guarded([] { say("memory exhausted"); }, [&] { script_run_in_session(text != nullptr ? text : ""); });
    return 0;
}
