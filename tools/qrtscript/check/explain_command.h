// `qrtscript explain-code`.
#ifndef TOOLS_QRTSCRIPT_CHECK_EXPLAIN_COMMAND_H
#define TOOLS_QRTSCRIPT_CHECK_EXPLAIN_COMMAND_H

// Returns the exit status; `argv[0]` is the name for messages.
int explain_command(int argc, char **argv);

#endif
