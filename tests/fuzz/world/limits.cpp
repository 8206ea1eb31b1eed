// A script may jump, include and look up for ever, which is its right but no use here: what the parser calls is let
// through only so many times for each input.
#include "tests/fuzz/world/limits.h"
#include "tests/fuzz/world/wrapped.h"

#include "directory/identifiers.h"
#include "qrtscript.h"

static constexpr int most_jumps = 8;
static constexpr int most_includes = 8;
static constexpr int most_lookups = 60;
static int jumps, includes, lookups;

bool real_jump(std::string_view label) asm("__real_" WRAPPED_JUMP);
bool wrapped_jump(std::string_view label) asm("__wrap_" WRAPPED_JUMP);
void real_include(std::string_view text) asm("__real_" WRAPPED_INCLUDE);
void wrapped_include(std::string_view text) asm("__wrap_" WRAPPED_INCLUDE);
decltype(identifiers_look_up) real_look_up asm("__real_" WRAPPED_LOOK_UP);
decltype(identifiers_look_up) wrapped_look_up asm("__wrap_" WRAPPED_LOOK_UP);
decltype(identifiers_variable) real_variable asm("__real_" WRAPPED_VARIABLE);
decltype(identifiers_variable) wrapped_variable asm("__wrap_" WRAPPED_VARIABLE);

void limits_start() {
    jumps = includes = lookups = 0;
}

bool wrapped_jump(std::string_view label) {
    return jumps++ < most_jumps && real_jump(label);
}

void wrapped_include(std::string_view text) {
    if (includes++ < most_includes) real_include(text);
}

uint32_t wrapped_look_up(uint32_t handle, const std::optional<std::string> &object, const char *name,
                         OwnedText &value) {
    return lookups++ < most_lookups ? real_look_up(handle, object, name, value) : QRT_NOT_FOUND;
}

// A variable that is not set is replaced by nothing, and so ends what names itself.
const char *wrapped_variable(std::string_view name) {
    return lookups++ < most_lookups ? real_variable(name) : nullptr;
}
