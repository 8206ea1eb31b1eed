// Volumes: from a path that begins with a volume or directory-map object to a server, the volume's name there and the
// path inside it. The functions are exported (qrtscript.h); here are the sizes of the buffers they fill.
#ifndef DIRECTORY_VOLUMES_H
#define DIRECTORY_VOLUMES_H

#include <cstddef>

inline constexpr size_t volumes_path_size = 770; // a whole path
inline constexpr size_t volumes_rest_size = 256; // the path inside the volume
inline constexpr size_t volumes_name_size = 514; // a server, a volume, a volume object

#endif
