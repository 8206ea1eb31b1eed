// The process as the code under test sees it: its environment, its children, the machine. No program is started and the
// real environment is neither read nor written.
#ifndef FUZZ_WORLD_PROCESS_H
#define FUZZ_WORLD_PROCESS_H

// Empties the environment but for HOME, which is /home/fuzz.
void process_start();

#endif
