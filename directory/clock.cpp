#include "directory/clock.h"

static time_t system_now() {
    return time(nullptr);
}

time_t (*clock_now)() = system_now;
