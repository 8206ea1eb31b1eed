// `qrtscript check`.
#ifndef TOOLS_QRTSCRIPT_CHECK_CHECK_COMMAND_H
#define TOOLS_QRTSCRIPT_CHECK_CHECK_COMMAND_H

// Returns the exit status; `argv[0]` is the name for messages.
int check_command(int argc, char **argv);

#endif
