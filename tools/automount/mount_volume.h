// The mount helper, /sbin/mount.qrt: mounts the volume that a folder below the mount point stands for, as the user
// whose folder it is below, and records what became of it (platform/common/drive_state.h).
#ifndef TOOLS_AUTOMOUNT_MOUNT_VOLUME_H
#define TOOLS_AUTOMOUNT_MOUNT_VOLUME_H

#include <string>

#include "platform/common/drive_state.h"

// The source by which the map tells the helper that the user, or root, has asked for the volume.
inline constexpr const char *own_source = "qrt-own";

// Mounts, always nosuid and nodev, within the site's time limit. Returns why not, or `none`; what the mount program
// has to say goes to standard error, the system's log. Throws AutomountError for a folder that no volume of a user
// stands for. Unless it is the user's `own` request, the kept password is not used, and a failure is not recorded:
// others could lock the user's account, or have the password sent to a server of theirs.
DriveFailure mount_volume(const std::string &folder, bool own);

#endif
