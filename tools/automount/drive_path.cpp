#include "tools/automount/drive_path.h"

#include <pwd.h>
#include <climits>
#include <cstdlib>

#include "platform/common/location.h"

static constexpr size_t deepest = 3;
static constexpr size_t longest_name = 128;

// The path below a folder, without the slash between; nothing for a path elsewhere.
static std::optional<std::string> below(const std::string &folder, const std::string &path) {
    if (path == folder) return "";
    const std::string start = folder + "/";
    if (path.compare(0, start.size(), start) != 0) return std::nullopt;
    return path.substr(start.size());
}

// The mount point may be named through a symbolic link of root's.
static std::optional<std::string> below_mount_point(const std::string &path) {
    std::string mount = mount_point();
    while (mount.size() > 1 && mount.back() == '/') mount.pop_back();
    if (std::optional<std::string> rest = below(mount, path)) return rest;
    char real[PATH_MAX];
    return realpath(mount.c_str(), real) == nullptr ? std::nullopt : below(real, path);
}

std::optional<std::vector<std::string>> drive_path_names(const std::string &path) {
    const std::optional<std::string> rest = below_mount_point(path);
    if (!rest) return std::nullopt;
    std::vector<std::string> names;
    for (size_t start = 0; start < rest->size();) {
        const size_t end = std::min(rest->find('/', start), rest->size());
        names.push_back(rest->substr(start, end - start));
        if (!is_folder_name(names.back()) || names.back().size() > longest_name) return std::nullopt;
        start = end + 1;
    }
    return names.size() <= deepest ? std::optional<std::vector<std::string>>(names) : std::nullopt;
}

std::optional<DriveUser> drive_user(const std::string &name) {
    const passwd *user = getpwnam(name.c_str());
    if (user == nullptr || name != user->pw_name) return std::nullopt;
    return DriveUser{name, user->pw_uid, user->pw_gid};
}
