// What the command line names: times, environments, script files.
#ifndef TOOLS_QRTSCRIPT_PLAN_INPUT_H
#define TOOLS_QRTSCRIPT_PLAN_INPUT_H

#include <ctime>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// All throw Failure for what they cannot use.

// "2026-03-05 09:05[:07]", "2026-03-05T09:05[:07]", "2026-03-05", "09:05[:07]" (today) in local time, the first two
// with a "Z" in UTC, or "@" and seconds since 1970.
time_t input_time(const std::string &text);
// "2026-03-05 09:05:07 +0100"
std::string input_time_text(time_t when);

// The lines of a regular file, NAME=value each. Empty lines, and lines that begin with "#", are left out; so are
// functions that a shell has exported, which a line on standard error says.
std::vector<std::pair<std::string, std::string>> input_environment(const std::string &path);
std::vector<std::pair<std::string, std::string>> input_environment_lines(const std::string &text,
                                                                         const std::string &shown);

// A script's file has to be a regular one, or /dev/null for none: of a device the library reads nothing.
void input_script_check(const std::optional<std::string> &path);
// The path of a script's file, which can be read; that of what standard input gives for "-". None for none.
std::optional<std::string> input_script(const std::optional<std::string> &path);

#endif
