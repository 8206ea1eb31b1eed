// The time of day as the identifiers and the attribute values see it.
#ifndef DIRECTORY_CLOCK_H
#define DIRECTORY_CLOCK_H

#include <ctime>

// Seconds since 1970. The system's clock; only a test points it elsewhere.
extern time_t (*clock_now)();

#endif
