// The mount helper, /sbin/mount.qrt: mounts the volume that a folder below the mount point stands for, as the user
// whose folder it is below, and records what became of it (platform/common/drive_state.h).
#ifndef TOOLS_AUTOMOUNT_MOUNT_VOLUME_H
#define TOOLS_AUTOMOUNT_MOUNT_VOLUME_H

#include <string>

#include "platform/common/drive_state.h"

// Mounts, always nosuid and nodev, within the site's time limit. Returns why not, or `none`; what the mount program
// has to say goes to standard error, the system's log. Throws AutomountError for a folder that no volume of a user
// stands for.
DriveFailure mount_volume(const std::string &folder);

#endif
