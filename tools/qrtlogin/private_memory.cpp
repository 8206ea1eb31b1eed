#include "tools/qrtlogin/private_memory.h"

#include <sys/prctl.h>
#include <sys/resource.h>

static bool is_limited = false;
static rlimit limit_before;

// Also runs in a script's program before it becomes that, where only calls are allowed that are safe in a signal
// handler. The memory stays private until then: it is this process's.
void private_memory_end_limit() {
    if (is_limited) setrlimit(RLIMIT_CORE, &limit_before);
}

void private_memory_begin() {
    prctl(PR_SET_DUMPABLE, 0);
    if (getrlimit(RLIMIT_CORE, &limit_before) != 0) return;
    const rlimit none = {0, limit_before.rlim_max};
    is_limited = setrlimit(RLIMIT_CORE, &none) == 0;
}
