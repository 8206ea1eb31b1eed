// What both programs do before anything else, the environment and the command line included.
#ifndef TOOLS_PROGRAM_START_H
#define TOOLS_PROGRAM_START_H

// Opens /dev/null on each standard descriptor that is closed: the next file to be opened would get its number, and with
// it what is written to standard output or what a program reads from standard input. It is opened in the other
// direction, so that using it fails as before: output that nobody gets is not taken for written. Returns false if it
// cannot.
bool standard_descriptors_fill();

// Fills the standard descriptors, and returns whether the program may run: not with rights that its caller does not
// have, for what the environment and the current folder say would then act with those. Otherwise says so on standard
// error in the name of `program`.
bool program_may_start(const char *program);

#endif
