// Memory that runs out when a test says so: an allocation by operator new, malloc or calloc, counted from arm(),
// fails. What the recording client allocates for its tables does not count: its functions are compiled with marks at
// their beginnings and ends.
#ifndef MEMORY_FAULT_H
#define MEMORY_FAULT_H

namespace memory_fault {

// The allocation of that number from here on (from 1) fails, once or with all later ones.
void arm(int number, bool forGood = false);

// Ends the counting. Whether the allocation was met.
bool disarm();

} // namespace memory_fault

#endif
