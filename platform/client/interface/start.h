// The client's version, the project's.
#ifndef PLATFORM_CLIENT_INTERFACE_START_H
#define PLATFORM_CLIENT_INTERFACE_START_H

#include <cstdint>

constexpr uint8_t client_version[4] = {1, 0, 0, 0};

#endif
