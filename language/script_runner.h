// Runs one script text from start to end: the one place where a script's text meets the parser.
#ifndef LANGUAGE_SCRIPT_RUNNER_H
#define LANGUAGE_SCRIPT_RUNNER_H

#include <cstdint>
#include <string_view>

// Runs `text` for `object` (borrowed while the script runs, may be null) on a directory context. Returns 0, or 1 after
// a syntax error, an IF without its END, or when there is no memory for the text.
int script_run(std::string_view text, char *object, uint32_t handle);

// Runs a text for the current object in a context of the current tree; nothing without one.
void script_run_in_session(std::string_view text);

#endif
