// Running local programs: the statements "#" and "@", and the runner that MAP shares. A program is found on the search
// path; its standard output is the script's output channel. Of the caller's descriptors it inherits standard input and
// error alone, and it starts with no blocked signals.
#ifndef COMMANDS_PROGRAM_H
#define COMMANDS_PROGRAM_H

#include <cstddef>

#include "base/text.h"

// A line of more words is not run.
inline constexpr std::size_t program_word_limit = 99;

// The statements "#" and "@": replace the identifiers in `line` and run it, with and without waiting for its end.
void program_statement(OwnedText line);
void program_nowait_statement(OwnedText line);

// execute_command that throws std::bad_alloc.
int program_run(const char *line);

// Reaps those of the programs started without waiting that have ended. Never waits.
void program_reap();

#pragma GCC visibility push(default)
extern "C" {

// Runs a command line and waits for the program's end. Returns its exit status; 0 for one that was ended by a signal, a
// program that cannot be started and a line without words; 1 for a line that is not run because it has too many words
// (or memory ran out). When no process can be made, the calling process ends with status 1.
int execute_command(const char *line);

// The same without waiting. Returns 0. The program is reaped by program_reap, or while another one is waited for.
int execute_command_nowait(const char *line);
}
#pragma GCC visibility pop

#endif
