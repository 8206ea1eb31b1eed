// The configured volumes that are folders of this machine and are not mounted.
#ifndef PLATFORM_CLIENT_SESSION_LINKED_VOLUMES_H
#define PLATFORM_CLIENT_SESSION_LINKED_VOLUMES_H

#include <vector>

#include "platform/common/location.h"

// In the order of the configuration; none unless it wants them (mount = "link"). Throws DataError for a configuration
// that cannot be read.
std::vector<LinkedVolume> linked_volumes();

#endif
