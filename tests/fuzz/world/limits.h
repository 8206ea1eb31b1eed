#ifndef FUZZ_WORLD_LIMITS_H
#define FUZZ_WORLD_LIMITS_H

// A new input: the parser may again jump, include and look up.
void limits_start();

#endif
