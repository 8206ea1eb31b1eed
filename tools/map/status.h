// Whether the volume of a drive is mounted, and if not, why: without a look into the drive, which would mount it, or
// wait for a server that does not answer.
#ifndef TOOLS_MAP_STATUS_H
#define TOOLS_MAP_STATUS_H

#include <string>
#include <vector>

#include "platform/common/location.h"

// The mounts below the mount point, as they are when it is made.
class MountedVolumes {
  public:
    MountedVolumes();
    // Whether the folder, or one above it, is mounted; what only waits to be mounted does not count.
    bool have(const std::string &folder) const;

  private:
    std::vector<std::string> folders_;
};

// "mounted", "not mounted: no such share", "not in use" or "a folder of this machine", translated.
std::string drive_status(const Location &location, const MountedVolumes &mounted);

#endif
