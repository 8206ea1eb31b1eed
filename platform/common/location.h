// Where network files are on this machine. The library, the mapping program and the directory client all ask here, so
// that they never disagree about where a drive leads.
//
//     local path ::= mount-point "/" login-name "/" server "/" volume [ "/" path ]
#ifndef PLATFORM_COMMON_LOCATION_H
#define PLATFORM_COMMON_LOCATION_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// A folder of a volume of a file server.
struct Location {
    std::string server;
    std::string volume;
    std::string path; // inside the volume, no slash at either end; empty for its root

    // "SRV1/USERS:home/jdoe"
    std::string text() const { return server + "/" + volume + ":" + path; }
};

// The path behind "Marfs mount=" in the network file system's status file, at most 256 bytes up to the line's end; the
// fixed place when there is no such line, or no path in it.
std::string mount_point();

// The folder below the mount point through which the effective user reaches the servers; "user" when the password
// database does not know their name.
std::string mount_user_folder();

std::string location_local_path(const Location &location);

// The location that a link to `target` stands for: an absolute path to a volume below the mount point, or to a folder
// in one. Nothing for a path elsewhere, one with a "..", and one with a name that cannot be a folder's on a server.
std::optional<Location> location_of_link(std::string_view target);

// A volume that is a folder of this machine and is not mounted: its drives lead to the folder itself.
struct LinkedVolume {
    std::string server;
    std::string volume;
    std::string folder; // an absolute path without "..", "." or a slash at its end
};

// Where the link of a drive leads: below the mount point, or below the folder of a linked volume.
std::string location_link_target(const Location &location, const std::vector<LinkedVolume> &linked);

// As location_of_link above, and for links to a linked volume as well; of several volumes that contain the target, the
// one whose folder is deepest.
std::optional<Location> location_of_link(std::string_view target, const std::vector<LinkedVolume> &linked);

// The folders of a path, "." and empty names left out and each ".." taken together with the folder before it. Nothing
// for a path that leads above the folder in which it begins.
std::optional<std::vector<std::string>> path_folders(std::string_view path);

// False for what cannot be one folder of a server: no name, ".", "..", a slash, a backslash, a control character.
bool is_folder_name(std::string_view name);

#endif
