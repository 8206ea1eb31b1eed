// The terminal as the prompts see it: what is typed comes from the input, what is shown is checked for control
// characters and thrown away. Signals come while somebody waits for input, and only when they are let in.
#ifndef FUZZ_WORLD_TERMINAL_H
#define FUZZ_WORLD_TERMINAL_H

#include <string_view>

// See targets/prompt.cpp for what `typed` may hold. Behind its end the terminal is closed.
void terminal_start(std::string_view typed);
// Fails when the terminal is still open, a signal's handler or mask is not as it was, or a signal was lost or invented.
void terminal_check_end();

#endif
