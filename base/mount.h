// Where the network file system is mounted. The library, the mapping program and the directory client all ask here, so
// that they never disagree about where a drive leads.
#ifndef BASE_MOUNT_H
#define BASE_MOUNT_H

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "base/places.h"

namespace mount_detail {

struct FileClose {
    void operator()(FILE *file) const { fclose(file); }
};

// The whole of a file, or an empty string when it cannot be opened.
inline std::string file_text(const char *path) {
    std::string text;
    const std::unique_ptr<FILE, FileClose> file(fopen(path, "re"));
    char piece[1024];
    size_t got = 0;
    while (file && (got = fread(piece, 1, sizeof piece, file.get())) > 0) text.append(piece, got);
    return text;
}

} // namespace mount_detail

// The path behind "Marfs mount=" in the status file, at most 256 bytes up to the line's end; the system's fixed place
// when there is no such line, or no path in it. Throws std::bad_alloc.
inline std::string mount_point() {
    constexpr std::string_view key = "Marfs mount=";
    constexpr size_t longest = 256;
    const std::string status = mount_detail::file_text(place_module_status);
    const size_t found = status.find(key);
    if (found == status.npos) return place_mount_point;
    std::string path = status.substr(found + key.size(), longest);
    path.erase(std::min(path.find('\n'), path.size()));
    return path.empty() ? place_mount_point : path;
}

#endif
