// Volumes: from a path that begins with a volume or directory-map object to a server, the volume's name there and the
// path inside it.
#ifndef DIRECTORY_VOLUMES_H
#define DIRECTORY_VOLUMES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// What is longer, its NUL included, counts as not found: the buffers of the interface have no more room.
inline constexpr size_t volumes_path_size = 770; // a whole path
inline constexpr size_t volumes_rest_size = 256; // the path inside the volume
inline constexpr size_t volumes_name_size = 514; // a server, a volume, a volume object

// All return 0 or the client's code, and throw std::bad_alloc. A text out is set for 0 only, if nothing else is said.

// The server of a volume object, of any length.
uint32_t volumes_server(uint32_t handle, const char *volume_object, std::string &server);

// A volume object's name on its server; empty when there is none.
uint32_t volumes_physical_name(uint32_t handle, const char *volume_object, std::string &volume);

// An object and the path behind it.
struct VolumePath {
    std::string object;
    std::string rest;
};

// The volume object and the path of a directory map; `rest` is put behind the path. No target when the map holds none.
uint32_t volumes_map_target(uint32_t handle, const char *map_object, std::string_view rest,
                            std::optional<VolumePath> &target);

// Where a path leads. What was found out before a failure is set as well.
struct VolumePlace {
    std::optional<std::string> server, volume, rest;
    std::optional<uint32_t> connection;
    bool resolved = false; // by the directory, not by the client
};

// Splits a path that begins with a volume or directory-map object, or else one that the client itself understands. When
// the volume is not wanted, the client has to answer: required.
uint32_t volumes_parse_path(uint32_t handle, const char *path, VolumePlace &place, bool volume_wanted = true);

#endif
