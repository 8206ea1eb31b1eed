// The run of a login: settles tree, user, context and primary server, then runs the container's, the profile's and the
// user's (or the default) script in that order.
#ifndef RUN_RUN_SEQUENCE_H
#define RUN_RUN_SEQUENCE_H

#include "qrtscript.h"

// qrt_RunScripts (qrtscript.h). When memory runs out it says so, ends the session and returns 1.
uint32_t run_sequence(QrtRunScriptsArgs &args);

#endif
