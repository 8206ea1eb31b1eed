#define _GNU_SOURCE
#include "tests/failing_malloc/failing_malloc.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <pwd.h>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <unistd.h>

#pragma GCC visibility push(default)

#ifdef QRT_SANITIZED
#define OURS(function) __wrap_##function
#define THEIRS(function) __real_##function
#else
#define OURS(function) function
/* The C library's own, under the names that no interposer takes. */
#define THEIRS(function) __libc_##function
#endif
extern void *THEIRS(malloc)(size_t size);
extern void *THEIRS(calloc)(size_t count, size_t size);
extern void *THEIRS(realloc)(void *block, size_t size);
void *OURS(malloc)(size_t size);
void *OURS(calloc)(size_t count, size_t size);
void *OURS(realloc)(void *block, size_t size);
void __cyg_profile_func_enter(void *function, void *caller);
void __cyg_profile_func_exit(void *function, void *caller);

static int armed;
static int for_good_;
static int in_fakes; /* calls of them under way */
static long at_;
static _Atomic long counted, failed; /* a program's threads count together */
static const char *mark;             /* the file that tells another process of the first failure */

void allocations_arm(long at, int for_good) {
    at_ = at;
    for_good_ = for_good;
    counted = failed = 0;
    armed = 1;
}

long allocations_disarm(void) {
    armed = 0;
    return failed;
}

long allocations_counted(void) {
    return counted;
}

static int fails(void) {
    if (!armed || in_fakes > 0) return 0;
    const long number = ++counted;
    if (at_ == 0 || number < at_ || (number > at_ && !for_good_)) return 0;
    if (failed++ == 0 && mark != NULL) close(open(mark, O_WRONLY | O_CREAT, 0600));
    errno = ENOMEM;
    return 1;
}

void __cyg_profile_func_enter(void *function, void *caller) {
    (void)function, (void)caller;
    in_fakes++;
}

void __cyg_profile_func_exit(void *function, void *caller) {
    (void)function, (void)caller;
    in_fakes--;
}

void *OURS(malloc)(size_t size) {
    return fails() ? NULL : THEIRS(malloc)(size);
}

void *OURS(calloc)(size_t count, size_t size) {
    return fails() ? NULL : THEIRS(calloc)(count, size);
}

/* A size of 0 gives the block back. */
void *OURS(realloc)(void *block, size_t size) {
    return size != 0 && fails() ? NULL : THEIRS(realloc)(block, size);
}

#ifndef QRT_SANITIZED
extern void *__libc_memalign(size_t alignment, size_t size);

void *reallocarray(void *block, size_t count, size_t size) {
    size_t whole = 0;
    if (__builtin_mul_overflow(count, size, &whole)) {
        errno = ENOMEM;
        return NULL;
    }
    return realloc(block, whole);
}

void *memalign(size_t alignment, size_t size) {
    return fails() ? NULL : __libc_memalign(alignment, size);
}

void *aligned_alloc(size_t alignment, size_t size) {
    return memalign(alignment, size);
}

int posix_memalign(void **block, size_t alignment, size_t size) {
    void *made = memalign(alignment, size);
    if (made == NULL) return ENOMEM;
    *block = made;
    return 0;
}

/* The C library itself (2.36) ends a process whose memory runs out while it reads nsswitch.conf. */
struct passwd *getpwuid(uid_t user) {
    struct passwd *(*real)(uid_t) = (struct passwd * (*)(uid_t)) dlsym(RTLD_NEXT, "getpwuid");
    const int before = armed;
    armed = 0;
    struct passwd *entry = real(user);
    armed = before;
    return entry;
}

/* In a program that has this preloaded: its own programs run without. */
__attribute__((constructor)) static void preloaded(void) {
    const char *at = getenv("FAILING_MALLOC_AT");
    if (at == NULL) return;
    mark = getenv("FAILING_MALLOC_MARK");
    const int for_good = getenv("FAILING_MALLOC_FOR_GOOD") != NULL;
    const long number = atol(at);
    unsetenv("LD_PRELOAD");
    unsetenv("FAILING_MALLOC_AT");
    unsetenv("FAILING_MALLOC_MARK");
    unsetenv("FAILING_MALLOC_FOR_GOOD");
    allocations_arm(number, for_good);
}
#endif
