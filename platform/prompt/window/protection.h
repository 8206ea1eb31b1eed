// What keeps the password of a window from other processes and from the disk.
#ifndef PLATFORM_PROMPT_WINDOW_PROTECTION_H
#define PLATFORM_PROMPT_WINDOW_PROTECTION_H

// No core file, no debugger of the same user, no memory in the swap space where the limit for locked memory allows it.
void protection_begin();

#endif
