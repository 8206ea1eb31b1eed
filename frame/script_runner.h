// Runs one script text from start to end: parsescript_Run and qrt_RunScript, declared in qrtscript.h. The one place
// where a script's text meets the parser.
#ifndef FRAME_SCRIPT_RUNNER_H
#define FRAME_SCRIPT_RUNNER_H

#include "qrtscript.h"

#endif
