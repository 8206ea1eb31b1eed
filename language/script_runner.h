// Runs one script text from start to end: parsescript_Run and qrt_RunScript, declared in qrtscript.h. The one place
// where a script's text meets the parser.
#ifndef LANGUAGE_SCRIPT_RUNNER_H
#define LANGUAGE_SCRIPT_RUNNER_H

#include "qrtscript.h"

#endif
