// Wipes each block of memory as it is freed: the toolkit lays text out in blocks of its own, and a password that is
// shown, or a character that is typed, is among it. The dynamic linker takes these for all of the program's libraries.
#include <malloc.h>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#if !defined(QRT_SANITIZED) && !defined(__SANITIZE_THREAD__) // the sanitizers have an allocator of their own

extern "C" {
void __libc_free(void *block);
void *__libc_malloc(size_t size);

__attribute__((visibility("default"))) void free(void *block) {
    if (block == nullptr) return;
    const int error = errno;
    explicit_bzero(block, malloc_usable_size(block));
    __libc_free(block);
    errno = error;
}

__attribute__((visibility("default"))) void *realloc(void *block, size_t size) {
    if (block == nullptr) return __libc_malloc(size);
    const size_t room = malloc_usable_size(block);
    if (size == 0) {
        free(block);
        return nullptr;
    }
    if (size <= room) return block;
    void *larger = __libc_malloc(size);
    if (larger == nullptr) return nullptr;
    memcpy(larger, block, room);
    free(block);
    return larger;
}

__attribute__((visibility("default"))) void *reallocarray(void *block, size_t count, size_t size) {
    size_t all = 0;
    if (__builtin_mul_overflow(count, size, &all)) {
        errno = ENOMEM;
        return nullptr;
    }
    return realloc(block, all);
}
}

#endif
