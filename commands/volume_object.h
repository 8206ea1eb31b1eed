// Resolving a volume or directory-map object for a file specification.
#ifndef COMMANDS_VOLUME_OBJECT_H
#define COMMANDS_VOLUME_OBJECT_H

#include <cstddef>
#include <cstdint>
#include <string>

// What is longer, its NUL included, is cut.
inline constexpr size_t volume_object_server_size = 49;
inline constexpr size_t volume_object_name_size = 514; // a volume, a path

struct VolumeLocation {
    std::string server;
    std::string volume; // its name there
    std::string path;   // of a map; empty for a volume
};

// Returns 0 or the client's code; what was found out before a failure is set as well.
uint32_t volume_object_find(const char *name, VolumeLocation &found);

#endif
