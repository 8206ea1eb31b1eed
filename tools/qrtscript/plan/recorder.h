// The record of what the scripts of one session do: effects in their order, each with the script and the line. It is in
// the words of docs/plan-format.md.
//
// There is one record a process, as there is one session.
#ifndef TOOLS_QRTSCRIPT_PLAN_RECORDER_H
#define TOOLS_QRTSCRIPT_PLAN_RECORDER_H

#include <set>
#include <string>
#include <string_view>

#include "tools/qrtscript/plan/record_text.h"

struct LongerFirst {
    bool operator()(const std::string &a, const std::string &b) const {
        return a.size() != b.size() ? a.size() > b.size() : a < b;
    }
};
using Secrets = std::set<std::string, LongerFirst>;

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
// How many effects the record has; and a member more for one of them. A run has shown its effects and keeps none.
size_t recorder_count();
void recorder_amend(size_t effect, const char *member, Json value);
// A mistake that the login reports, or that it passes over in silence.
void recorder_mistake(const std::string &text, bool isReported);

// A text that must not be shown: wherever it stands in the record. One of less than six bytes is left alone: it would
// be hidden in words that mean something else, and is hidden where it comes from only.
void recorder_hide(std::string_view secret);
// A value of any length that must not be shown by the effects of the statement that is running.
void recorder_hide_here(std::string_view value);
// Whether the text has such a value in it.
bool recorder_hides_here(std::string_view text);
// The next statement begins.
void recorder_line();

// What recorder_hide has been given, as it is written in a record; replaced in another record.
const Secrets &recorder_secrets();
void recorder_scrub(const Secrets &secrets, Json *record);

// Ends the session here: it would go on for too long.
void recorder_stop(const std::string &reason);
// Does that when it has. For whatever may take its time.
void recorder_check_time();

// The whole record: {"sources": [...], "effects": [...]}, with what is hidden replaced.
Json recorder_result();

#endif
