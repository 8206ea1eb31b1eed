// The record of what the scripts of one session do: effects in their order, each with the script and the line. It is in
// the words of docs/plan-format.md.
//
// There is one record a process, as there is one session.
#ifndef TOOLS_QRTSCRIPT_PLAN_RECORDER_H
#define TOOLS_QRTSCRIPT_PLAN_RECORDER_H

#include <string>
#include <string_view>

#include "tools/qrtscript/plan/record_text.h"

enum class Recording {
    off,  // nothing is recorded, and everything is done
    plan, // effects are recorded and not done
    act   // effects are done, and told by recorder_notice
};

Recording recorder_mode();
inline bool recorder_is_on() {
    return recorder_mode() != Recording::off;
}
inline bool recorder_plans() {
    return recorder_mode() == Recording::plan;
}

// `ended` is called by recorder_stop, and does not come back.
void recorder_start(Recording mode, void (*ended)());
void recorder_turn_off();

// In act mode: called with each effect.
extern void (*recorder_notice)(const Json &effect);

// Adds an effect of the statement that is running.
void recorder_add(const char *kind, Json effect);
// A mistake that the login reports, or that it passes over in silence.
void recorder_mistake(const std::string &text, bool isReported);

// A text that must not be shown: wherever it stands in the record. One of less than three characters is left alone.
void recorder_hide(std::string_view secret);
// The same for the value of a variable whose name suggests a secret: a short one is a switch rather, and would be
// hidden in words that mean something else.
void recorder_hide_value(std::string_view value);

// Ends the session here: it would go on for too long.
void recorder_stop(const std::string &reason);

// The whole record: {"sources": [...], "effects": [...]}, with what is hidden replaced.
Json recorder_result();

#endif
