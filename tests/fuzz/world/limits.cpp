// A script may jump, include and look up for ever, which is its right but no use here: what the parser calls is let
// through only so many times for each input.
#include "tests/fuzz/world/limits.h"
#include "qrtscript.h"

static constexpr int most_jumps = 8;
static constexpr int most_includes = 8;
static constexpr int most_lookups = 80;
static int jumps, includes, lookups;

extern "C" {
int __real_lex_goto(const char *label);
int __wrap_lex_goto(const char *label);
int __real_lex_IncludeFile(const char *text);
int __wrap_lex_IncludeFile(const char *text);
uint32_t __real_qrt_GetIdentifierValue(uint32_t handle, const char *object, const char *identifier, char **value);
uint32_t __wrap_qrt_GetIdentifierValue(uint32_t handle, const char *object, const char *identifier, char **value);
uint32_t __real_qrt_GetAttribute(uint32_t handle, const char *object, const char *attribute, char **text);
uint32_t __wrap_qrt_GetAttribute(uint32_t handle, const char *object, const char *attribute, char **text);
char *__real_qrt_GetEnvVar(const char *name);
char *__wrap_qrt_GetEnvVar(const char *name);
}

void limits_start() {
    jumps = includes = lookups = 0;
}

int __wrap_lex_goto(const char *label) {
    return jumps++ < most_jumps ? __real_lex_goto(label) : 1;
}

int __wrap_lex_IncludeFile(const char *text) {
    return includes++ < most_includes ? __real_lex_IncludeFile(text) : 0;
}

uint32_t __wrap_qrt_GetIdentifierValue(uint32_t handle, const char *object, const char *identifier, char **value) {
    return lookups++ < most_lookups ? __real_qrt_GetIdentifierValue(handle, object, identifier, value) : QRT_NOT_FOUND;
}

uint32_t __wrap_qrt_GetAttribute(uint32_t handle, const char *object, const char *attribute, char **text) {
    return lookups++ < most_lookups ? __real_qrt_GetAttribute(handle, object, attribute, text) : QRT_NOT_FOUND;
}

// A variable that is not set is replaced by nothing, and so ends what names itself.
char *__wrap_qrt_GetEnvVar(const char *name) {
    return lookups++ < most_lookups ? __real_qrt_GetEnvVar(name) : nullptr;
}
