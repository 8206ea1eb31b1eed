#include "tests/allocations/failing_malloc.h"

#include <errno.h>
#include <stddef.h>
#include <stdint.h>

#pragma GCC visibility push(default)

/* The C library's own, under the names that no interposer takes. */
extern void *__libc_malloc(size_t size);
extern void *__libc_calloc(size_t count, size_t size);
extern void *__libc_realloc(void *block, size_t size);
extern void *__libc_memalign(size_t alignment, size_t size);

static int armed;
static int for_good_;
static long at_, counted, failed;

void allocations_arm(long at, int for_good) {
    at_ = at;
    for_good_ = for_good;
    counted = failed = 0;
    armed = 1;
}

long allocations_disarm(void) {
    armed = 0;
    return counted;
}

long allocations_failed(void) {
    return failed;
}

static int fails(void) {
    if (!armed) return 0;
    counted++;
    if (at_ == 0 || counted < at_ || (counted > at_ && !for_good_)) return 0;
    failed++;
    errno = ENOMEM;
    return 1;
}

void *malloc(size_t size) {
    return fails() ? NULL : __libc_malloc(size);
}

void *calloc(size_t count, size_t size) {
    return fails() ? NULL : __libc_calloc(count, size);
}

/* A size of 0 gives the block back. */
void *realloc(void *block, size_t size) {
    return size != 0 && fails() ? NULL : __libc_realloc(block, size);
}

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
