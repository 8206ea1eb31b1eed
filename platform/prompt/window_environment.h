// The environment of a program that shows windows. The toolkit loads modules that variables name, and whoever started
// the caller, or a login script, may have set any variable: only those are passed on that are known to be needed and
// to load no code.
#ifndef PLATFORM_PROMPT_WINDOW_ENVIRONMENT_H
#define PLATFORM_PROMPT_WINDOW_ENVIRONMENT_H

#include <string>
#include <vector>

// Whether the environment names a display.
bool window_display_named();

// The entries NAME=VALUE of this process's environment that a program with windows gets, and a PATH of the system.
std::vector<std::string> window_environment();

// Leaves only these in this process's own environment. Before its first thread.
void window_environment_enter();

#endif
