#include "tools/qrtlogin/logout.h"

#include <dirent.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "platform/catalogue.h"
#include "platform/common/link_directory.h"
#include "platform/common/location.h"
#include "platform/common/opened.h"
#include "platform/common/own_directory.h"
#include "platform/common/smb_credentials.h"
#include "platform/terminal_text.h"
#include "tools/linked_volumes.h"

static constexpr int last_search_drive = 16;

namespace {

struct CloseFolder {
    void operator()(DIR *folder) const { closedir(folder); }
};
using FolderPointer = std::unique_ptr<DIR, CloseFolder>;

} // namespace

static void add_link(const std::string &path, std::vector<std::string> *found) {
    char target[PATH_MAX];
    const ssize_t length = readlink(path.c_str(), target, sizeof target);
    if (length > 0) found->emplace_back(target, static_cast<size_t>(length));
}

// What a process has open, runs, and where it works: the kernel names it without asking the file's server.
static void add_files_of(const std::string &process, std::vector<std::string> *found) {
    for (const char *own : {"/cwd", "/root", "/exe"}) add_link(process + own, found);
    const std::string files = process + "/fd";
    const FolderPointer folder(opendir(files.c_str()));
    while (const dirent *item = folder != nullptr ? readdir(folder.get()) : nullptr)
        if (item->d_name[0] != '.') add_link(files + "/" + item->d_name, found);
}

// The files of all processes of the user but this one.
static std::vector<std::string> files_in_use() {
    std::vector<std::string> found;
    const std::string own = std::to_string(getpid());
    const FolderPointer processes(opendir("/proc"));
    while (const dirent *item = processes != nullptr ? readdir(processes.get()) : nullptr)
        if (item->d_name[0] >= '1' && item->d_name[0] <= '9' && own != item->d_name)
            add_files_of(std::string("/proc/") + item->d_name, &found);
    return found;
}

// A drive's folder as the kernel names it, which knows no symbolic links: the mount point may have been named by one.
// The folder itself is not looked at.
static std::string kernel_path(const std::string &path) {
    const std::string point = mount_point();
    char real[PATH_MAX];
    const bool isBelow = path.compare(0, point.size(), point) == 0;
    return !isBelow || realpath(point.c_str(), real) == nullptr ? path : real + path.substr(point.size());
}

static bool is_in_use(const std::string &target, const std::vector<std::string> &files) {
    const std::string folder = kernel_path(target);
    return std::any_of(files.begin(), files.end(), [&](const std::string &file) {
        return file.compare(0, folder.size(), folder) == 0 &&
               (file.size() == folder.size() || file[folder.size()] == '/');
    });
}

static std::vector<std::string> drive_names() {
    std::vector<std::string> names;
    for (char letter = 'A'; letter <= 'Z'; ++letter) names.emplace_back(1, letter);
    for (int place = 1; place <= last_search_drive; ++place) names.push_back("S" + std::to_string(place));
    return names;
}

static bool remove_drive(int directory, const std::string &name, const std::vector<std::string> &files) {
    const std::optional<OwnLink> link = own_link_read(directory, name.c_str());
    const std::optional<Location> drive =
        link && !link->foreign ? location_of_link(link->target, linked_volumes_of_client()) : std::nullopt;
    if (!drive) return true;
    if (is_in_use(link->target, files)) {
        printf(catalogue_text("Drive %1$s: is in use and stays: %2$s\n"), name.c_str(),
               terminal_text(drive->text()).c_str());
        return true;
    }
    if (unlinkat(directory, name.c_str(), 0) == 0) return true;
    fprintf(stderr, "qrtlogin: %s\n",
            catalogue_format("cannot remove drive %1$s: %2$s", name.c_str(), strerror(errno)).c_str());
    return false;
}

static bool remove_drives() {
    const std::string path = link_directory_place().path.value_or("");
    if (path[0] != '/') return true; // there can be no drives
    DirectoryFault fault = DirectoryFault::none;
    const Opened directory(own_directory_open(path, &fault));
    if (!directory.isOpen() && fault == DirectoryFault::notOpened && errno == ENOENT) return true;
    if (!directory.isOpen()) {
        const std::string reason = fault == DirectoryFault::notOpened
                                       ? catalogue_format("cannot open %1$s: %2$s", path.c_str(), strerror(errno))
                                       : own_directory_refusal(path, fault);
        fprintf(stderr, "qrtlogin: %s\n", terminal_text(reason).c_str());
        return false;
    }
    const std::vector<std::string> files = files_in_use();
    bool all = true;
    for (const std::string &name : drive_names()) all = remove_drive(directory.number(), name, files) && all;
    return all;
}

int logout_run() {
    const bool drives = remove_drives();
    const bool password = smb_credentials_remove();
    if (!password)
        fprintf(stderr, "qrtlogin: %s\n",
                catalogue_format("cannot remove the password kept for drives: %s", strerror(errno)).c_str());
    return drives && password ? 0 : 1;
}
