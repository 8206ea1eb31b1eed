// Where a drive leads: a folder of a volume of a file server, and the local path below the mount point that stands for
// it.
//
//     target     ::= server "/" volume ":" path            SRV1/USERS:home/jdoe
//                  | "//" server "/" volume [ "/" path ]
//                  | volume ":" path                       on the default server
//                  | object [ ":" path ]                   a volume's or a directory map's object, .APPS.acme:bin
//                  | drive ":" path                        below another drive
//     local path ::= mount-point "/" login-name "/" server "/" volume [ "/" path ]
//
// Backslashes stand for slashes everywhere.
#ifndef TOOLS_MAP_LOCATION_H
#define TOOLS_MAP_LOCATION_H

#include <optional>
#include <string>
#include <string_view>

struct Location {
    std::string server;
    std::string volume;
    std::string path; // inside the volume, no slash at either end; empty for its root

    // "SRV1/USERS:home/jdoe"
    std::string text() const { return server + "/" + volume + ":" + path; }
};

// The folder below the mount point through which the effective user reaches the servers.
std::string mount_user_folder();

std::string location_local_path(const Location &location);

// The location that a local path stands for; nothing for a path elsewhere, of another user, or with a "..".
std::optional<Location> location_from_local_path(std::string_view path);

// `path` below `base` with "." and ".." resolved, no slash at either end. Throws Refusal for a path that would leave
// the volume.
std::string location_join(std::string_view base, std::string_view path);

// Throws Refusal unless server and volume are names that can stand as one folder each.
void location_check(const Location &location);

#endif
