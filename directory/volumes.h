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

// An object and the path behind it.
struct VolumePath {
    std::string object, rest;
};

// Where a path leads. What was found out before a failure is set as well.
struct VolumePlace {
    std::optional<std::string> server, volume;
    std::string rest;
    std::optional<uint32_t> connection;
    bool resolved = false; // by the directory, not by the client
};

// qrt_DSGetObjConnID, qrt_DSGetPhysicalVolumeName, qrt_CheckForDirectoryMap and qrt_ZKDSParsePath (qrtscript.h). A
// directory map may hold no target. When the volume is not wanted, the client has to answer: required.
uint32_t volumes_server(uint32_t handle, const char *volumeObject, std::string &server);
uint32_t volumes_physical_name(uint32_t handle, const char *volumeObject, std::string &volume);
uint32_t volumes_map_target(uint32_t handle, const char *mapObject, std::string_view rest,
                            std::optional<VolumePath> &target);
uint32_t volumes_parse_path(uint32_t handle, const char *path, VolumePlace &place, bool volumeWanted = true);

#endif
