// Where a script's text comes from: a local file, a directory object's "Login Script" stream, the nearest container
// above an object that has one, or the built-in default. Each yields heap text that the caller runs and frees. The
// functions are declared in qrtscript.h; they know nothing of the parser.
#ifndef DIRECTORY_SCRIPT_SOURCES_H
#define DIRECTORY_SCRIPT_SOURCES_H

#include "qrtscript.h"

#endif
