// Local folders as volumes.
#ifndef TOOLS_AUTOMOUNT_BIND_MOUNT_H
#define TOOLS_AUTOMOUNT_BIND_MOUNT_H

#include <string>
#include <vector>

// Mounts the folder `source` on `target`: nosuid and nodev, and as the options (ro, noexec) say, before anybody sees
// it. No symbolic link on the way to `source` is followed: whoever can make one there would choose what is shown. False
// with errno.
bool bind_mount(const std::string &source, const std::string &target, const std::vector<std::string> &options);

#endif
