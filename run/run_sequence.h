// The run of a login: settles tree, user, context and primary server, then runs the container's, the profile's and the
// user's (or the default) script in that order. qrt_RunScripts is declared in qrtscript.h.
#ifndef RUN_RUN_SEQUENCE_H
#define RUN_RUN_SEQUENCE_H

#include "qrtscript.h"

#endif
