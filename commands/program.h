// Running local programs: the statements "#" and "@", and the runner that MAP shares. A program is found on the search
// path; its standard output is the script's output channel. Of the caller's descriptors it inherits standard input and
// error alone, and it starts with no blocked signals.
#ifndef COMMANDS_PROGRAM_H
#define COMMANDS_PROGRAM_H

#include <cstddef>
#include <string>

#include "base/text.h"

// A line of more words is not run.
inline constexpr std::size_t program_word_limit = 99;

// The statements "#" and "@": replace the identifiers in `line` and run it, with and without waiting for its end.
void program_statement(OwnedText line);
void program_nowait_statement(OwnedText line);

// Runs a command line and waits for the program's end. Returns its exit status; 0 for one that was ended by a signal, a
// program that cannot be started and a line without words; 1 for a line that is not run because it has too many words.
// When no process can be made, the calling process ends with status 1.
int program_run(std::string line);

// The same without waiting. The program is reaped by program_reap, or while another one is waited for.
void program_run_in_background(std::string line);

// Reaps those of the programs started without waiting that have ended. Never waits.
void program_reap();

#endif
