// Whether the volume of a drive is mounted, and if not, why: without a look into a drive that is not, which would mount
// it, and without waiting for a server that does not answer.
#ifndef TOOLS_MAP_STATUS_H
#define TOOLS_MAP_STATUS_H

#include <string>
#include <vector>

#include "platform/common/location.h"

// For each drive "mounted", "no such folder", "not mounted: no such share", "not in use" or "a folder of this machine",
// translated.
std::vector<std::string> drive_statuses(const std::vector<Location> &locations);

#endif
