#include "base/clock.h"

#include <cstring>

static bool is_path(const char *zone) {
    if (*zone == ':') zone++;
    return *zone == '/' || strstr(zone, "..") != nullptr;
}

ClockZone::ClockZone() : zone("TZ", is_path), folder("TZDIR", [](const char *) { return true; }) {
    tzset();
}

static time_t system_now() {
    return time(nullptr);
}

time_t (*clock_now)() = system_now;
