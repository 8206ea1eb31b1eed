// `qrtscript fmt`: scripts in the usual style.
#ifndef TOOLS_QRTSCRIPT_CHECK_FMT_H
#define TOOLS_QRTSCRIPT_CHECK_FMT_H

// Reads the arguments behind the subcommand's name, and does what they say. Returns the exit status.
int fmt_run(int argc, char **argv);

#endif
