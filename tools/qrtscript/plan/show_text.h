// A plan for people.
#ifndef TOOLS_QRTSCRIPT_PLAN_SHOW_TEXT_H
#define TOOLS_QRTSCRIPT_PLAN_SHOW_TEXT_H

#include <string>
#include <vector>

#include "tools/qrtscript/plan/recorder.h"

// A plan of session_plan with "time" and "read_as" (docs/plan-format.md). Control characters are shown as "\x1B".
std::string show_text(const Json &plan);

// One effect: its verb and what it is, one line each, without its place. `show_text` writes them beside the line.
struct ShownEffect {
    std::string verb;
    std::vector<std::string> lines;
};
ShownEffect show_effect(const Json &effect);

// How many mistakes the plan has.
size_t plan_count_mistakes(const Json &plan);
bool plan_is_mistake(const Json &effect);

// "container script sales.acme"
std::string show_source(const Json &source);

#endif
