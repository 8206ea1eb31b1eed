// The directory that holds the links of the user's drives: map writes them, DRIVE and the client read them.
#ifndef PLATFORM_COMMON_LINK_DIRECTORY_H
#define PLATFORM_COMMON_LINK_DIRECTORY_H

#include <cstdint>
#include <optional>
#include <string>

#include "platform/common/conf_file.h"

struct LinkDirectoryPlace {
    ConfResult code;                 // of reading Map_Link_Default_Location from map.conf
    std::string configured;          // its value, empty without one
    std::optional<std::string> path; // nothing when the environment variable that names it is not set
};

// The directory that map.conf names, as "/path", "%NAME" or "%NAME/path" with an environment variable; without such a
// line the home directory.
LinkDirectoryPlace link_directory_place();

#endif
