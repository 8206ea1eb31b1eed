// The programs as they are released, with the failing allocator preloaded: each run is a process of its own.
#ifndef ALLOCATIONS_PROGRAM_CASES_H
#define ALLOCATIONS_PROGRAM_CASES_H

#include <vector>

#include "tests/allocations/cases.h"

// Needs a SampleFolder. A program that a signal ends ends the calling process by the same signal.
std::vector<Case> program_cases();

#endif
