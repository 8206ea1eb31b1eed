#include "tests/unit/memory_fault.h"

#include <cerrno>
#include <cstdlib>
#include <new>

// Only the thread that armed it counts.
static thread_local bool armed = false;
static thread_local bool later_too = false;
static thread_local int left = 0;   // until the one that fails, which is 0
static thread_local int inside = 0; // calls of the recording client

void memory_fault::arm(int number, bool forGood) {
    armed = true;
    later_too = forGood;
    left = number;
}

bool memory_fault::disarm() {
    armed = false;
    return left <= 0;
}

static bool fails() {
    if (!armed || inside != 0) return false;
    left--;
    if (left > 0 || (left < 0 && !later_too)) return false;
    errno = ENOMEM;
    return true;
}

extern "C" {

void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__wrap_malloc(size_t size);
void *__wrap_calloc(size_t count, size_t size);
void __cyg_profile_func_enter(void *, void *);
void __cyg_profile_func_exit(void *, void *);

void *__wrap_malloc(size_t size) {
    return fails() ? nullptr : __real_malloc(size);
}
void *__wrap_calloc(size_t count, size_t size) {
    return fails() ? nullptr : __real_calloc(count, size);
}
void __cyg_profile_func_enter(void *, void *) {
    inside++;
}
void __cyg_profile_func_exit(void *, void *) {
    inside--;
}
}

void *operator new(size_t size) {
    void *memory = fails() ? nullptr : __real_malloc(size > 0 ? size : 1);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
void *operator new[](size_t size) {
    return operator new(size);
}
void operator delete(void *memory) noexcept {
    free(memory);
}
void operator delete(void *memory, size_t) noexcept {
    free(memory);
}
void operator delete[](void *memory) noexcept {
    free(memory);
}
void operator delete[](void *memory, size_t) noexcept {
    free(memory);
}
