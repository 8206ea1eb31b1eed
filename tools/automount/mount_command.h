// The mount program's command line for a volume.
#ifndef TOOLS_AUTOMOUNT_MOUNT_COMMAND_H
#define TOOLS_AUTOMOUNT_MOUNT_COMMAND_H

#include <string>
#include <vector>

#include "tools/automount/drive_path.h"
#include "tools/automount/site.h"

// How a volume is mounted for its user.
struct MountOrder {
    SiteMount mount;
    DriveUser user;
    std::string folder;  // where to
    std::string smbUser; // whose password there is; empty: none
    std::string smbDomain;
};

// The program, the source, the folder, "-o" and the options, for a volume that is not a local folder. A share that
// knows only one user is that user's alone: nobody else of the machine reads it through the mount.
std::vector<std::string> mount_command(const MountOrder &order);

// Whether the volume is mounted with the password, and not with the user's Kerberos ticket.
bool mount_needs_password(const SiteMount &mount, bool havePassword);

#endif
