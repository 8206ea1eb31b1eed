// The programs that the scripts have started and that are still running, in the foreground or not.
#ifndef TOOLS_QRTLOGIN_SCRIPT_PROGRAMS_H
#define TOOLS_QRTLOGIN_SCRIPT_PROGRAMS_H

#include <sys/types.h>

// To be called before the scripts run: the children that the process has now are not theirs, and are left alone.
void script_programs_begin();

// Ends the programs and all that they have started: with SIGTERM, and with SIGKILL what is there a second later. One
// that has detached itself (its parent has ended) is left alone. Returns after two seconds at most; a program that the
// kernel does not let end by then ends later. Only calls that are safe in a signal handler.
void script_programs_end();

// Whether this process was one of those that were ended. Safe in a signal handler.
bool script_programs_had(pid_t id);

#endif
