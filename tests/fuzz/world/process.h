// The process as the code under test sees it: its environment, its children, the machine. No program is started and the
// real environment is neither read nor written.
#ifndef FUZZ_WORLD_PROCESS_H
#define FUZZ_WORLD_PROCESS_H

#include <ctime>

// What time() tells.
constexpr time_t process_time = 1795269600;

// Empties the environment but for HOME, which is /home/fuzz.
void process_start();
// Sets a variable of the environment.
void process_set(const char *name, const char *value);

#endif
