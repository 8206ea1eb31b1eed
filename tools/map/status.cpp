#include "tools/map/status.h"

#include <mntent.h>
#include <sys/stat.h>
#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/catalogue.h"
#include "platform/common/drive_state.h"
#include "tools/linked_volumes.h"

namespace {

struct EndMounts {
    void operator()(FILE *mounts) const { endmntent(mounts); }
};

} // namespace

static bool is_at_or_below(const std::string &path, const std::string &folder) {
    return path.compare(0, folder.size(), folder) == 0 && (path.size() == folder.size() || path[folder.size()] == '/');
}

MountedVolumes::MountedVolumes() {
    const std::unique_ptr<FILE, EndMounts> mounts(setmntent("/proc/self/mounts", "re"));
    const std::string point = mount_point();
    char real[PATH_MAX]; // the kernel names mounts without the symbolic links that lead there
    if (realpath(point.c_str(), real) == nullptr) return;
    constexpr size_t longest_line = size_t{16} << 10;
    std::vector<char> line(longest_line);
    mntent one = {};
    while (mounts && getmntent_r(mounts.get(), &one, line.data(), static_cast<int>(line.size())) != nullptr)
        if (strcmp(one.mnt_type, "autofs") != 0 && is_at_or_below(one.mnt_dir, real))
            folders_.push_back(point + (one.mnt_dir + strlen(real)));
}

bool MountedVolumes::have(const std::string &folder) const {
    return std::any_of(
        folders_.begin(), folders_.end(), [&](const std::string &mounted) { return is_at_or_below(folder, mounted); });
}

std::string drive_status(const Location &location, const MountedVolumes &mounted) {
    const std::string folder = location_link_target(location, linked_volumes_of_client());
    if (folder != location_local_path(location)) return catalogue_text("a folder of this machine");
    if (mounted.have(location_local_path({location.server, location.volume, ""}))) return catalogue_text("mounted");
    const std::optional<DriveState> state = drive_state_read(location.server, location.volume);
    if (!state || state->failure == DriveFailure::none) return catalogue_text("not in use");
    return catalogue_format("not mounted: %s", drive_failure_text(state->failure).c_str());
}
