#include "platform/common/location.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "platform/common/places.h"

namespace {

struct FileClose {
    void operator()(FILE *file) const { fclose(file); }
};

} // namespace

// The whole of a file, or an empty string when it cannot be opened.
static std::string file_text(const char *path) {
    std::string text;
    const std::unique_ptr<FILE, FileClose> file(fopen(path, "re"));
    char piece[1024];
    size_t got = 0;
    while (file && (got = fread(piece, 1, sizeof piece, file.get())) > 0) text.append(piece, got);
    return text;
}

// The names between the slashes, without "." and empty ones.
static std::vector<std::string> names_of(std::string_view path) {
    std::vector<std::string> names;
    for (size_t start = 0; start < path.size();) {
        const size_t end = std::min(path.find('/', start), path.size());
        const std::string_view name = path.substr(start, end - start);
        if (!name.empty() && name != ".") names.emplace_back(name);
        start = end + 1;
    }
    return names;
}

static bool climbs(const std::vector<std::string> &names) {
    return std::find(names.begin(), names.end(), "..") != names.end();
}

std::string mount_point() {
    constexpr std::string_view key = "Marfs mount=";
    constexpr size_t longest = 256;
    const std::string status = file_text(place_module_status);
    const size_t found = status.find(key);
    if (found == status.npos) return place_mount_point;
    std::string path = status.substr(found + key.size(), longest);
    path.erase(std::min(path.find('\n'), path.size()));
    return path.empty() ? place_mount_point : path;
}

std::string mount_user_folder() {
    const passwd *user = getpwuid(geteuid());
    return mount_point() + "/" + (user != nullptr ? user->pw_name : "user");
}

std::string location_local_path(const Location &location) {
    const std::string volume = mount_user_folder() + "/" + location.server + "/" + location.volume;
    return location.path.empty() ? volume : volume + "/" + location.path;
}

std::optional<Location> location_of_link(std::string_view target) {
    const std::vector<std::string> mount = names_of(mount_point());
    const std::vector<std::string> names = names_of(target);
    const size_t server = mount.size() + 1; // the user's folder is in between
    if (target.substr(0, 1) != "/" || climbs(mount) || names.size() < server + 2 ||
        !std::equal(mount.begin(), mount.end(), names.begin()))
        return std::nullopt;
    if (!std::all_of(names.begin() + static_cast<ptrdiff_t>(mount.size()), names.end(), is_folder_name))
        return std::nullopt;
    Location location{names[server], names[server + 1], ""};
    for (size_t i = server + 2; i < names.size(); ++i) location.path += (i > server + 2 ? "/" : "") + names[i];
    return location;
}

std::string location_link_target(const Location &location, const std::vector<LinkedVolume> &linked) {
    for (const LinkedVolume &one : linked)
        if (one.server == location.server && one.volume == location.volume)
            return location.path.empty() ? one.folder : one.folder + "/" + location.path;
    return location_local_path(location);
}

// The location of a path in the folder of a linked volume.
static std::optional<Location> location_below(const LinkedVolume &volume, std::string_view path) {
    const std::string &folder = volume.folder;
    if (path == folder) return Location{volume.server, volume.volume, ""};
    if (path.substr(0, folder.size()) != folder || path[folder.size()] != '/') return std::nullopt;
    Location location{volume.server, volume.volume, ""};
    const std::vector<std::string> names = names_of(path.substr(folder.size()));
    if (!std::all_of(names.begin(), names.end(), is_folder_name)) return std::nullopt;
    for (size_t i = 0; i < names.size(); ++i) location.path += (i > 0 ? "/" : "") + names[i];
    return location;
}

std::optional<Location> location_of_link(std::string_view target, const std::vector<LinkedVolume> &linked) {
    std::optional<Location> found = location_of_link(target);
    size_t deepest = 0;
    for (const LinkedVolume &one : linked) {
        if (one.folder.size() <= deepest) continue;
        const std::optional<Location> location = location_below(one, target);
        if (!location) continue;
        deepest = one.folder.size();
        found = location;
    }
    return found;
}

std::optional<std::vector<std::string>> path_folders(std::string_view path) {
    std::vector<std::string> folders;
    for (std::string &name : names_of(path)) {
        if (name != "..") {
            folders.push_back(std::move(name));
            continue;
        }
        if (folders.empty()) return std::nullopt;
        folders.pop_back();
    }
    return folders;
}

bool is_folder_name(std::string_view name) {
    const auto cannot = [](char c) {
        return static_cast<unsigned char>(c) < ' ' || c == 0x7F || c == '/' || c == '\\';
    };
    return !name.empty() && name != "." && name != ".." && std::none_of(name.begin(), name.end(), cannot);
}
