#include "tools/automount/map_entry.h"

#include <ctime>

#include "platform/common/drive_state.h"
#include "tools/automount/drive_path.h"
#include "tools/automount/mount_volume.h"
#include "tools/automount/refresh.h"

// A path in a map's line.
static std::string escaped(const std::string &path) {
    std::string text;
    for (char c : path) {
        if (std::string_view(" \t#:\"'\\,$&").find(c) != std::string_view::npos) text += '\\';
        text += c;
    }
    return text;
}

using Names = std::vector<std::string>;

static bool has_server(const MountSite &site, const void *wanted) {
    return site_has_server(site, (*static_cast<const Names *>(wanted))[1]);
}

static bool has_volume(const MountSite &site, const void *wanted) {
    const Names &names = *static_cast<const Names *>(wanted);
    std::string why;
    return site_find(site, names[1], names[2], &why).has_value() || !why.empty();
}

static bool volume_is_there(const Names &names, uid_t user) {
    if (has_volume(site_current_for(has_volume, &names), &names)) return true;
    drive_state_write(user, names[1], names[2], {DriveFailure::noSource, time(nullptr)});
    return false;
}

std::string map_entry(const std::string &folder, const std::string &key, const std::string &program,
                      const std::optional<uid_t> &requester) {
    if (key.empty() || key.find('/') != std::string::npos) return "";
    const std::optional<Names> names = drive_path_names(folder + "/" + key);
    if (!names || names->empty()) return "";
    const std::optional<DriveUser> user = drive_user(names->front());
    if (!user) return "";
    const std::string next_map = "-fstype=autofs program:" + escaped(program);
    if (names->size() == 1) return next_map;
    if (names->size() == 2) return has_server(site_current_for(has_server, &*names), &*names) ? next_map : "";
    if (!volume_is_there(*names, user->id)) return "";
    const bool own = requester && (*requester == user->id || *requester == 0);
    return std::string("-fstype=qrt,nosuid,nodev :") + (own ? own_source : "qrt");
}
