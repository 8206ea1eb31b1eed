// Where a password comes from must be nobody else's input: of two readers of one open file each gets what the other has
// left, and a password may end in a script.
#ifndef TOOLS_QRTSCRIPT_PASSWORD_INPUT_H
#define TOOLS_QRTSCRIPT_PASSWORD_INPUT_H

#include <string>

// Throws Failure (exit_usage) if `file` ("-": standard input) is what the descriptor of --password-fd reads from, by
// whatever name: /dev/stdin, /proc/self/fd/3, or the path of the file that is open there. None is open at -1; of a
// descriptor that is not open, and of a file that is not there, others tell.
void password_input_check(int descriptor, const std::string &file);

#endif
