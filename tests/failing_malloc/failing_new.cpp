// Operator new of a sanitized program, which would not go through its malloc.
#include <cstdlib>
#include <new>

void *operator new(size_t size) {
    void *memory = malloc(size > 0 ? size : 1);
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
