// The time of day as the identifiers and the attribute values see it.
#ifndef BASE_CLOCK_H
#define BASE_CLOCK_H

#include <ctime>

#include "platform/environment_guard.h"

// While it lives, the C library reads no time zone from a file of a script's choice: TZ counts only as a name or a rule
// ("Europe/Berlin", "CET-1CEST"), not as an absolute path or one with "..", and TZDIR not at all.
struct ClockZone {
    ClockZone();
    EnvironmentGuard zone, folder;
};

// Seconds since 1970. The system's clock; only a test points it elsewhere.
extern time_t (*clock_now)();

#endif
