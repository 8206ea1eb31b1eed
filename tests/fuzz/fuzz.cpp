#include "tests/fuzz/fuzz.h"

#include <unistd.h>

// Not through the standard stream, which may lead elsewhere.
void fuzz_failed(const char *file, int line, const char *condition) {
    dprintf(STDERR_FILENO, "%s:%d: does not hold: %s\n", file, line, condition);
    abort();
}

#ifdef FUZZ_SANITIZED
// Speed: a short memory of freed blocks and no call stacks for allocations. To look into a find, run its input again
// with ASAN_OPTIONS=malloc_context_size=30.
extern "C" const char *__asan_default_options();
const char *__asan_default_options() {
    return "malloc_context_size=1:quarantine_size_mb=4:thread_local_quarantine_size_kb=256:"
           "detect_stack_use_after_return=0:max_redzone=64";
}
#endif
