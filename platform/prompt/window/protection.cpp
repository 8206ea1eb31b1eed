#include "platform/prompt/window/protection.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>

// A toolkit needs more than a common limit: beyond it, every further allocation would fail. Then only the pages of the
// password itself are locked, which the toolkit and Secret each do for theirs.
static bool may_lock_everything() {
    rlimit limit = {};
    return getrlimit(RLIMIT_MEMLOCK, &limit) == 0 && limit.rlim_cur == RLIM_INFINITY;
}

void protection_begin() {
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_CORE, &none);
    prctl(PR_SET_DUMPABLE, 0);
#ifndef QRT_SANITIZED // whose own memory is larger than any machine's
    if (may_lock_everything()) mlockall(MCL_CURRENT | MCL_FUTURE | MCL_ONFAULT);
#else
    may_lock_everything();
#endif
}
