// The directory of the drives' links, which map writes and the client reads. Whoever else can write in it could lead
// the user's drives to files of his own, so it is used only when it is the user's alone. It is opened once, judged by
// its descriptor and then reached through that descriptor: who swaps the directory behind its path changes nothing any
// more.
#ifndef PLATFORM_COMMON_OWN_DIRECTORY_H
#define PLATFORM_COMMON_OWN_DIRECTORY_H

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <cerrno>
#include <climits>
#include <optional>
#include <string>
#include <vector>

#include "platform/catalogue.h"

enum class DirectoryFault {
    none,
    notOpened, // errno says why
    foreign,   // it is another user's
    writable   // others can write in it
};

namespace own_directory_detail {

// Gives a look-up of the C library more and more room until the entry fits. Returns false when there is no entry.
template <typename Id, typename Entry>
bool find_entry(int (*lookUp)(Id, Entry *, char *, size_t, Entry **), Id id, Entry *entry, std::vector<char> *room) {
    constexpr size_t least = 1024, most = 1 << 20;
    Entry *found = nullptr;
    int problem = ERANGE;
    for (size_t size = least; problem == ERANGE && size <= most; size *= 2) {
        room->resize(size);
        problem = lookUp(id, entry, room->data(), room->size(), &found);
    }
    return found != nullptr;
}

// A group that bears the user's name and has no other member is the user's private one.
inline bool is_private_group(gid_t id) {
    std::vector<char> userRoom, groupRoom;
    passwd user = {};
    group entry = {};
    if (!find_entry(getpwuid_r, geteuid(), &user, &userRoom) || !find_entry(getgrgid_r, id, &entry, &groupRoom))
        return false;
    const std::string name = user.pw_name;
    if (name != entry.gr_name) return false;
    for (char **member = entry.gr_mem; *member != nullptr; ++member)
        if (name != *member) return false;
    return true;
}

// With an access list the group's bits of the mode are what the list allows at most, to whomever.
inline bool has_access_list(int directory) {
    return fgetxattr(directory, "system.posix_acl_access", nullptr, 0) >= 0 || (errno != ENODATA && errno != ENOTSUP);
}

// A sticky directory is no exception: others can make the links that the user has not made yet.
inline bool others_can_write(int directory, const struct stat &status) {
    if ((status.st_mode & S_IWOTH) != 0) return true;
    if ((status.st_mode & S_IWGRP) == 0) return false;
    return !is_private_group(status.st_gid) || has_access_list(directory);
}

} // namespace own_directory_detail

// What keeps the directory behind a descriptor from being used, `none` or else.
inline DirectoryFault own_directory_fault(int directory) {
    struct stat status = {};
    if (fstat(directory, &status) != 0) return DirectoryFault::notOpened;
    if (status.st_uid != geteuid()) return DirectoryFault::foreign;
    return own_directory_detail::others_can_write(directory, status) ? DirectoryFault::writable : DirectoryFault::none;
}

// Opens a directory that is the effective user's alone; the last component of its path is no symbolic link. Returns its
// descriptor, or -1 with the reason in `*fault`.
inline int own_directory_open(std::string path, DirectoryFault *fault) {
    // With a slash at the end a symbolic link would be followed after all.
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    *fault = DirectoryFault::notOpened;
    const int directory = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (directory < 0) return -1;
    *fault = own_directory_fault(directory);
    if (*fault == DirectoryFault::none) return directory;
    const int problem = errno;
    close(directory);
    errno = problem;
    return -1;
}

// The sentence for a directory that is refused as `foreign` or `writable`.
inline std::string own_directory_refusal(const std::string &path, DirectoryFault fault) {
    if (fault == DirectoryFault::foreign)
        return catalogue_format(
            "the directory for the drive links, %s, belongs to another user: set HOME or map.conf to one of your own",
            path.c_str());
    return catalogue_format(
        "the directory for the drive links, %s, is writable by other users: run chmod go-w on it, or set HOME or "
        "map.conf to another one",
        path.c_str());
}

struct OwnLink {
    bool foreign = false; // another user made it; then `target` is empty
    std::string target;   // where it points to
};

// The symbolic link `name` of the directory; nothing when there is none, or none that can be read. The link is opened
// itself, so that owner and target are of one and the same.
inline std::optional<OwnLink> own_link_read(int directory, const char *name) {
    const int opened = openat(directory, name, O_PATH | O_NOFOLLOW | O_CLOEXEC);
    if (opened < 0) return std::nullopt;
    OwnLink link;
    struct stat status = {};
    char target[PATH_MAX];
    const bool isLink = fstat(opened, &status) == 0 && S_ISLNK(status.st_mode);
    link.foreign = isLink && status.st_uid != geteuid();
    const ssize_t length = isLink && !link.foreign ? readlinkat(opened, "", target, sizeof target) : 0;
    close(opened);
    if (!isLink || length < 0 || length == static_cast<ssize_t>(sizeof target)) return std::nullopt;
    link.target.assign(target, static_cast<size_t>(length));
    return link;
}

#endif
