// Keeps what this process has in its memory to itself: it has a password in memory, and the scripts' programs run as
// the same user.
#ifndef TOOLS_QRTLOGIN_PRIVATE_MEMORY_H
#define TOOLS_QRTLOGIN_PRIVATE_MEMORY_H

// From here on other processes of the user can neither read the memory of this one nor trace it, and it leaves no core
// file; the kernel treats its files in /proc as root's. Once in a process.
void private_memory_begin();

// Puts the limit for core files back, for the program that this process becomes now. The rest lasts until then.
void private_memory_end_limit();

#endif
