// "qrtscript run": one script in a session of its own, which does what the script says.
#ifndef TOOLS_QRTSCRIPT_PLAN_RUN_H
#define TOOLS_QRTSCRIPT_PLAN_RUN_H

// The words behind "run". Returns the exit status; a wrong command line ends the process. Throws what keeps the script
// from being run.
int run_main(int argc, char **argv);

#endif
