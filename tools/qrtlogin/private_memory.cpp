#include "tools/qrtlogin/private_memory.h"

#include <pthread.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <new>

static bool is_limited = false;
static rlimit limit_before;

// Also runs in a child, where only calls are allowed that are safe after a fork. The child's memory stays private until
// it becomes another program: until then it is a copy of this one's.
void private_memory_end_limit() {
    if (is_limited) setrlimit(RLIMIT_CORE, &limit_before);
}

void private_memory_begin() {
    if (pthread_atfork(nullptr, nullptr, private_memory_end_limit) != 0) throw std::bad_alloc();
    prctl(PR_SET_DUMPABLE, 0);
    if (getrlimit(RLIMIT_CORE, &limit_before) != 0) return;
    const rlimit none = {0, limit_before.rlim_max};
    is_limited = setrlimit(RLIMIT_CORE, &none) == 0;
}
