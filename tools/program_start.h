// What both programs do before anything else, the environment and the command line included, and at their end.
#ifndef TOOLS_PROGRAM_START_H
#define TOOLS_PROGRAM_START_H

#include <string>

// Opens /dev/null on each standard descriptor that is closed: the next file to be opened would get its number, and with
// it what is written to standard output or what a program reads from standard input. It is opened in the other
// direction, so that using it fails as before: output that is lost does not count as written. Returns false if it
// cannot.
bool standard_descriptors_fill();

// Fills the standard descriptors, and returns whether the program may run: not with rights that its caller does not
// have, for what the environment and the current folder say would then act with those. Otherwise says so on standard
// error in the name of `program`.
//
// From here on a file that may not grow any more fails to be written, instead of ending the process by SIGXFSZ.
bool program_may_start(const char *program);

// Gives the signal the disposition back with which the process was started, for the program that it becomes.
void program_restore_signals();

// Reports on standard error, in the name of `program`, that output could not be written, with the errno `error`.
void program_report_lost_output(const char *program, int error);

// What --version says of the program called `name`, with its line end. Programs that read their options by argp have
// that option by itself.
std::string program_version(const std::string &name);

// At the end of the process, however it comes: what standard output cannot take is reported, and the exit status is
// `status` then. `program` is kept.
void program_check_output_at_exit(const char *program, int status);

#endif
