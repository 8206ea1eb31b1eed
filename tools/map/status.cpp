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
#include "tools/map/missing_folders.h"

namespace {

struct EndMounts {
    void operator()(FILE *mounts) const { endmntent(mounts); }
};

// The mounts below the mount point, as they are when it is made.
class MountedVolumes {
  public:
    MountedVolumes();
    // Whether the folder, or one above it, is mounted; what only waits to be mounted does not count.
    bool have(const std::string &folder) const;

  private:
    std::vector<std::string> folders_;
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

static bool is_linked(const Location &location) {
    return location_link_target(location, linked_volumes_of_client()) != location_local_path(location);
}

static bool is_mounted(const Location &location, const MountedVolumes &mounted) {
    return !is_linked(location) && mounted.have(location_local_path({location.server, location.volume, ""}));
}

static std::string status_unless_mounted(const Location &location) {
    if (is_linked(location)) return catalogue_text("a folder of this machine");
    const std::optional<DriveState> state = drive_state_read(location.server, location.volume);
    if (!state || state->failure == DriveFailure::none) return catalogue_text("not in use");
    return catalogue_format("not mounted: %s", drive_failure_text(state->failure).c_str());
}

std::vector<std::string> drive_statuses(const std::vector<Location> &locations) {
    const MountedVolumes mounted;
    std::vector<std::string> statuses, folders;
    std::vector<size_t> indexes; // of the folders' drives
    for (const Location &location : locations) {
        const bool isMounted = is_mounted(location, mounted);
        if (isMounted && !location.path.empty()) {
            folders.push_back(location_local_path(location));
            indexes.push_back(statuses.size());
        }
        statuses.push_back(isMounted ? catalogue_text("mounted") : status_unless_mounted(location));
    }
    const std::vector<bool> missing = missing_folders(folders);
    for (size_t i = 0; i < folders.size(); ++i)
        if (missing[i]) statuses[indexes[i]] = catalogue_text("no such folder");
    return statuses;
}
