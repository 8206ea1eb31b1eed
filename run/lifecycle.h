// Start and end of a session: the output channel, the interrupt handler, the trace level from login.conf. The contracts
// are those of the exported functions (qrtscript.h) that call these.
#ifndef RUN_LIFECYCLE_H
#define RUN_LIFECYCLE_H

#include <cstdio>

#include "base/text.h"

// At most this many characters of a line are returned at once.
constexpr int lifecycle_line_size = 1024;

// How many slots of the input buffer stack a start clears; the rest and the stack's depth are left alone on purpose.
constexpr int lifecycle_cleared_slots = 84;

bool lifecycle_start(FILE *output);  // qrt_init; false without a pipe
void lifecycle_end();                // qrt_exit
OwnedText lifecycle_read_line();     // qrt_ReadResults; null at the end, and without memory
void lifecycle_load_configuration(); // qrt_script_load_configuration
void lifecycle_interrupted();        // cntrlcHandler
void lifecycle_open_log();           // openLogFile

#endif
