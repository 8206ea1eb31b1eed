// Keeps a script from filling the machine's memory.
#ifndef TOOLS_QRTLOGIN_MEMORY_LIMIT_H
#define TOOLS_QRTLOGIN_MEMORY_LIMIT_H

#include <sys/resource.h>

// One at a time. While it lives, this process can take 1 GiB of memory beyond what it has, unless it may take less
// anyway; then memory is exhausted. It is the soft limit of the data that is lowered, and only for this process.
class MemoryLimit {
  public:
    MemoryLimit();
    ~MemoryLimit();
    MemoryLimit(const MemoryLimit &) = delete;
    MemoryLimit &operator=(const MemoryLimit &) = delete;
};

// Puts the former limit back in a process that becomes a script's program. Makes only calls that are safe in a signal
// handler.
void memory_limit_put_back();

#endif
