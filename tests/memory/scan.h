// Looks for what is left of a secret in the memory of a process that stands still.
#ifndef TESTS_MEMORY_SCAN_H
#define TESTS_MEMORY_SCAN_H

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

#include "tests/memory/secrets.h"

// One line for each run of bytes that contains six or more characters of the secret in their order, as bytes or as
// UTF-16, in any memory that the process can write to (heap, stacks, data, anonymous maps): where, and how many
// characters. Throws std::system_error when the process's memory cannot be read.
std::vector<std::string> scan_process(pid_t process, const HiddenSecret &secret);

// The same for a text.
std::vector<std::string> scan_text(std::string_view text, const HiddenSecret &secret);

#endif
