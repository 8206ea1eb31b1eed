// What map asks of the locations that its items name (platform/common/location.h).
//
//     target     ::= server "/" volume ":" path            SRV1/USERS:home/jdoe
//                  | "//" server "/" volume [ "/" path ]
//                  | volume ":" path                       on the default server
//                  | object [ ":" path ]                   a volume's or a directory map's object, .APPS.acme:bin
//                  | drive ":" path                        below another drive
//
// Backslashes stand for slashes everywhere.
#ifndef TOOLS_MAP_LOCATION_H
#define TOOLS_MAP_LOCATION_H

#include <string>
#include <string_view>

#include "platform/common/location.h"

// `path` below `base` with "." and ".." resolved, no slash at either end. Throws Refusal for a path that would leave
// the volume.
std::string location_join(std::string_view base, std::string_view path);

// Throws Refusal unless server and volume are names that can stand as one folder each.
void location_check(const Location &location);

#endif
