// Start and end of a session: the output channel, the interrupt handler, the trace level from login.conf. Its functions
// (qrt_init, qrt_exit, qrt_ReadResults, qrt_script_load_configuration, cntrlcHandler, openLogFile) are declared in
// qrtscript.h.
#ifndef RUN_LIFECYCLE_H
#define RUN_LIFECYCLE_H

#include "qrtscript.h"

// qrt_ReadResults hands out at most this many characters of a line at once.
constexpr int lifecycle_line_size = 1024;

// How many slots of the input buffer stack qrt_init clears; the rest and the stack's depth are left alone on purpose.
constexpr int lifecycle_cleared_slots = 84;

#endif
