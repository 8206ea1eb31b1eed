// What a path below the mount point stands for: MOUNT-POINT/LOGIN-NAME/SERVER/VOLUME.
#ifndef TOOLS_AUTOMOUNT_DRIVE_PATH_H
#define TOOLS_AUTOMOUNT_DRIVE_PATH_H

#include <sys/types.h>
#include <optional>
#include <string>
#include <vector>

// The names below the mount point, from none to three, each one that can be a folder's on a server. Nothing for a path
// elsewhere or deeper, and for one with names that are too long.
std::optional<std::vector<std::string>> drive_path_names(const std::string &path);

struct DriveUser {
    std::string name;
    uid_t id = 0;
    gid_t group = 0;
};

// The user with exactly this login name.
std::optional<DriveUser> drive_user(const std::string &name);

#endif
