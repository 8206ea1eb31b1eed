// Where a run stands in its script, as a person finds it in an editor. What INCLUDE reads is put into the text that is
// being run, so that a line's number there is not always that in the script.
#ifndef TOOLS_QRTLOGIN_SCRIPT_PLACE_H
#define TOOLS_QRTLOGIN_SCRIPT_PLACE_H

#include <cstddef>
#include <string>
#include <string_view>

struct ScriptPlace {
    enum class In { script, included, unknown };
    In in = In::unknown;
    size_t line = 0;     // of the script; of an included text that of the INCLUDE that has led to it
    size_t included = 0; // the line of the included text, counted from the first of several
    std::string text;    // of the line that is run
};

// The place behind `position` characters of `now`, which is `script` with what was included. A position behind line
// ends is on the line that they end.
ScriptPlace script_place(std::string_view script, std::string_view now, size_t position);

// "line 12", in words; empty for an unknown one.
std::string script_place_text(const ScriptPlace &place);

#endif
