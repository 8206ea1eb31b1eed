#include "tools/qrtlogin/memory_limit.h"

#include <unistd.h>
#include <cstdio>
#include <cstdlib>

// More than the 512 MB that a login may be answered with, and little enough that no common machine begins to swap.
static constexpr rlim_t room = rlim_t{1} << 30;

static bool is_lowered = false;
static rlimit former = {};

// The data of this process, as the limit counts it, or 0.
static rlim_t data_now() {
    FILE *sizes = fopen("/proc/self/statm", "re");
    if (sizes == nullptr) return 0;
    char line[256] = "";
    char *at = fgets(line, sizeof line, sizes);
    fclose(sizes);
    unsigned long pages = 0;
    constexpr int fields = 6; // size resident shared text lib data
    for (int field = 0; field < fields && at != nullptr; ++field) pages = strtoul(at, &at, 10);
    return static_cast<rlim_t>(pages) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

void memory_limit_put_back() {
    if (is_lowered) setrlimit(RLIMIT_DATA, &former);
}

// Of the data and not of the addresses: threads reserve addresses, and libraries map files, without taking memory.
MemoryLimit::MemoryLimit() {
    const rlim_t data = data_now();
    if (data == 0 || getrlimit(RLIMIT_DATA, &former) != 0) return;
    rlimit lowered = former;
    lowered.rlim_cur = data + room;
    if (former.rlim_cur != RLIM_INFINITY && former.rlim_cur <= lowered.rlim_cur) return;
    is_lowered = setrlimit(RLIMIT_DATA, &lowered) == 0;
}

MemoryLimit::~MemoryLimit() {
    memory_limit_put_back();
    is_lowered = false;
}
