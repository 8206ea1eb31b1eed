#include "platform/common/secret.h"

#include <sys/mman.h>
#include <cstring>
#include <new>
#include <utility>

#if defined(__has_attribute) && __has_attribute(zero_call_used_regs)
[[gnu::zero_call_used_regs("all")]]
#endif
[[gnu::noinline]] void
secret_wipe_traces() {
    char below[16384];
    explicit_bzero(below, sizeof below);
}

Secret::Secret(size_t capacity, Forked forked) : capacity_(capacity) {
    void *pages = mmap(nullptr, size(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) throw std::bad_alloc();
    // What the kernel or the limit does not allow is done without.
    mlock(pages, size());
    madvise(pages, size(), MADV_DONTDUMP);
    if (forked == Forked::nothing) madvise(pages, size(), MADV_WIPEONFORK);
    text_ = static_cast<char *>(pages);
}

Secret::Secret(Secret &&other) noexcept : text_(std::exchange(other.text_, nullptr)), capacity_(other.capacity_) {}

Secret &Secret::operator=(Secret &&other) noexcept {
    std::swap(text_, other.text_);
    std::swap(capacity_, other.capacity_);
    return *this;
}

Secret::~Secret() {
    if (text_ == nullptr) return;
    wipe();
    munmap(text_, size());
    secret_wipe_traces();
}

void Secret::wipe() {
    explicit_bzero(text_, size());
}
