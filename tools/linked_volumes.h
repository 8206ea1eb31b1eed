// The volumes whose drives are links to folders of this machine (mount = "link" in client.toml).
#ifndef TOOLS_LINKED_VOLUMES_H
#define TOOLS_LINKED_VOLUMES_H

#include <vector>

#include "platform/common/location.h"

// Asks the directory client, once; none when its configuration cannot be read.
const std::vector<LinkedVolume> &linked_volumes_of_client();

#endif
