// A plan for people.
#ifndef TOOLS_QRTSCRIPT_PLAN_SHOW_TEXT_H
#define TOOLS_QRTSCRIPT_PLAN_SHOW_TEXT_H

#include <string>
#include <vector>

#include "tools/qrtscript/plan/recorder.h"

// A plan of session_plan with "time" and "read_as" (docs/plan-format.md). Control characters are shown as "\x1B".
std::string show_text(const Json &plan);

// What every output begins with: whose login it is, or of which container, and by whom the values were read.
std::string show_heading(const Json &plan);

// One effect: its verb and what it is, one line each, without its place. `show_text` writes them beside the line.
struct ShownEffect {
    std::string verb;
    std::vector<std::string> lines;
};
ShownEffect show_effect(const Json &effect);
// The lines of an effect beside the line (0: none) of its script, with a sign in front.
std::string show_beside(int line, const ShownEffect &effect, const std::string &sign = " ");

// How many mistakes the plan has.
size_t plan_count_mistakes(const Json &plan);
bool plan_is_mistake(const Json &effect);

// "container script sales.acme"
std::string show_source(const Json &source);

#endif
