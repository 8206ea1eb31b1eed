// Where the values that a statement saw come from. A text of the parser's is known by its address while its line is
// read.
#ifndef TOOLS_QRTSCRIPT_PLAN_ORIGINS_H
#define TOOLS_QRTSCRIPT_PLAN_ORIGINS_H

#include <cstddef>
#include <initializer_list>

#include "tools/qrtscript/plan/recorder.h"

void origins_clear();

// A value has been looked up: {"reference": "%FULL_NAME", "from": "attribute", ...}.
void origins_note(Json origin);
// How many there are in this line.
size_t origins_count();
// What has been noted since then belongs to this text.
void origins_give(const char *text, size_t since);
// What belongs to the parts belongs to the text that is made of them.
void origins_join(const char *text, std::initializer_list<const char *> parts);
// An array.
Json origins_of(const char *text);

#endif
