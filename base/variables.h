// The environment variables that scripts set. The C library reads the whole environment through for each variable that
// is set; here the places of the names are remembered, so that a script of many SET takes a time that grows with their
// number and not with its square.
//
// The environment stays the one that everybody reads and writes: getenv, children and the caller see what they would
// see after setenv. When somebody else has set or unset a variable meanwhile, the environment is read through again.
#ifndef BASE_VARIABLES_H
#define BASE_VARIABLES_H

#include <cstdint>

// As setenv with overwriting: a variable that is set keeps its place, a new one is the last. A name that is empty or
// contains "=" changes nothing. As with setenv, the value that getenv returned before stays readable.
void variables_set(const char *name, const char *value);

// Forgets the places: to be called when the caller may have written into the environment's own array.
void variables_forget();

// How many times the environment has been read through.
uint32_t variables_reads();

#endif
