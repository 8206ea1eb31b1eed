#include "tools/qrtlogin/memory_limit.h"

#include <pthread.h>
#include <unistd.h>
#include <cstdio>

namespace {

// More than the 512 MB that a login may be answered with, and little enough that no common machine begins to swap.
constexpr rlim_t room = rlim_t{1} << 30;

bool is_lowered = false;
rlimit former = {};

// The data of this process, as the limit counts it, or 0.
rlim_t data_now() {
    FILE *sizes = fopen("/proc/self/statm", "re");
    if (sizes == nullptr) return 0;
    unsigned long pages = 0;
    // size resident shared text lib data
    if (fscanf(sizes, "%*u %*u %*u %*u %*u %lu", &pages) != 1) pages = 0;
    fclose(sizes);
    return static_cast<rlim_t>(pages) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

// In a child too, where only calls that are safe in a signal handler may be made.
void put_back() {
    if (is_lowered) setrlimit(RLIMIT_DATA, &former);
}

} // namespace

// Of the data and not of the addresses: threads reserve addresses, and libraries map files, without taking memory.
MemoryLimit::MemoryLimit() {
    static const bool children_too = pthread_atfork(nullptr, nullptr, put_back) == 0;
    const rlim_t data = data_now();
    if (!children_too || data == 0 || getrlimit(RLIMIT_DATA, &former) != 0) return;
    rlimit lowered = former;
    lowered.rlim_cur = data + room;
    if (former.rlim_cur != RLIM_INFINITY && former.rlim_cur <= lowered.rlim_cur) return;
    is_lowered = setrlimit(RLIMIT_DATA, &lowered) == 0;
}

MemoryLimit::~MemoryLimit() {
    put_back();
    is_lowered = false;
}
