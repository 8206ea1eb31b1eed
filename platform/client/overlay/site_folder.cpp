#include "platform/client/overlay/site_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/catalogue.h"
#include "platform/client/core/errors.h"

static constexpr size_t items_limit = 1'000'000; // of one folder

namespace {

struct CloseFolder {
    void operator()(DIR *folder) const { closedir(folder); }
};
using FolderPointer = std::unique_ptr<DIR, CloseFolder>;

} // namespace

[[noreturn]] static void refuse(const std::string &path, const std::string &why) {
    throw DataError(path + ": " + why);
}

[[noreturn]] static void refuse_unopened(const std::string &path, int problem) {
    throw DataError(catalogue_format("cannot open %1$s: %2$s", path.c_str(), strerror(problem)));
}

static std::string real_path(const std::string &path, const std::string &shown) {
    const std::unique_ptr<char, decltype(&free)> real(realpath(path.c_str(), nullptr), &free);
    if (real == nullptr) refuse_unopened(shown, errno);
    return real.get();
}

SiteFolder::SiteFolder(const std::string &path, uid_t configurationOwner)
    : path_(path), ownToo_(configurationOwner == geteuid()) {
    while (path_.size() > 1 && path_.back() == '/') path_.pop_back();
    real_ = real_path(path_, path_);
    folder_.number = ::open(real_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW);
    if (folder_.number < 0) refuse_unopened(path_, errno);
    check(folder_, Kind::folder, path_);
}

void SiteFolder::check(const Descriptor &opened, Kind kind, const std::string &what) const {
    struct stat found = {};
    if (fstat(opened.number, &found) != 0) refuse_unopened(what, errno);
    if (kind == Kind::file && !S_ISREG(found.st_mode)) refuse(what, catalogue_text("not a regular file"));
    if (found.st_uid != 0 && !(ownToo_ && found.st_uid == geteuid())) {
        refuse(what,
               ownToo_ ? catalogue_text("it must belong to root or to you") : catalogue_text("it must belong to root"));
    }
    if ((found.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        refuse(what, catalogue_text("a group or others may write to it: run chmod go-w on it"));
}

// The path without symbolic links, relative to the folder.
std::string SiteFolder::real(const std::string &inside) const {
    const std::string found = real_path(real_ + "/" + inside, shown(inside));
    const std::string top = real_ == "/" ? real_ : real_ + "/";
    if (found == real_) return "";
    if (found.compare(0, top.size(), top) != 0)
        refuse(shown(inside), catalogue_text("the symbolic link leads out of the folder"));
    return found.substr(top.size());
}

// A device must not be opened at all, and a named pipe would hold the program: what it is comes first. -1 with 0 in
// errno for what is neither a file nor a folder.
static int open_at(int folder, const std::string &name, bool isFolder) {
    const Descriptor there(openat(folder, name.c_str(), O_PATH | O_CLOEXEC | O_NOFOLLOW));
    struct stat found = {};
    if (there.number < 0 || fstat(there.number, &found) != 0) return -1;
    if (!S_ISREG(found.st_mode) && !S_ISDIR(found.st_mode)) {
        errno = isFolder ? ENOTDIR : 0;
        return -1;
    }
    constexpr int flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW;
    return openat(folder, name.c_str(), flags | (isFolder ? O_DIRECTORY : 0));
}

// Whoever may write to a folder on the way chooses what is found there: each is checked.
Descriptor SiteFolder::open(const std::string &inside, Kind kind) const {
    const std::string path = real(inside);
    Descriptor at(openat(folder_.number, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)); // with a position of its own
    for (size_t start = 0; start < path.size();) {
        const size_t end = path.find('/', start);
        const bool isLast = end == path.npos;
        const Kind wanted = isLast ? kind : Kind::folder;
        Descriptor next(open_at(at.number, path.substr(start, end - start), wanted == Kind::folder));
        const std::string what = isLast ? shown(inside) : shown(path.substr(0, end));
        if (next.number < 0 && errno == 0) refuse(what, catalogue_text("not a regular file"));
        if (next.number < 0) refuse_unopened(what, errno);
        check(next, wanted, what);
        std::swap(at.number, next.number);
        start = isLast ? path.size() : end + 1;
    }
    if (at.number < 0) refuse_unopened(shown(inside), errno);
    return Descriptor(at.release());
}

// Whoever logs in has to be able to read what is in them, whatever the umask.
void SiteFolder::makeFolders(const std::string &inside) const {
    constexpr mode_t forEverybody = 0755;
    for (size_t end = inside.find('/'); end != inside.npos; end = inside.find('/', end + 1)) {
        const std::string path = inside.substr(0, end);
        const size_t slash = path.rfind('/');
        const Descriptor above = open(slash == path.npos ? "" : path.substr(0, slash), Kind::folder);
        const std::string name = path.substr(slash == path.npos ? 0 : slash + 1);
        if (mkdirat(above.number, name.c_str(), forEverybody) == 0 &&
            fchmodat(above.number, name.c_str(), forEverybody, 0) == 0)
            continue;
        if (errno == EEXIST) continue;
        const bool isForbidden = errno == EACCES || errno == EPERM || errno == EROFS;
        const std::string why = catalogue_format("cannot make %1$s: %2$s", shown(path).c_str(), strerror(errno));
        if (isForbidden) throw CodedError(ZKE_NO_ACCESS, why);
        throw DataError(why);
    }
}

Descriptor SiteFolder::folderOf(const std::string &file, bool make, std::string *name) const {
    if (make) makeFolders(file);
    const std::string path = make ? file : real(file);
    const size_t slash = path.rfind('/');
    *name = path.substr(slash == path.npos ? 0 : slash + 1);
    return open(slash == path.npos ? "" : path.substr(0, slash), Kind::folder);
}

static SiteItem item_of(const dirent &found) {
    const bool maybe = found.d_type == DT_LNK || found.d_type == DT_UNKNOWN;
    return {found.d_name, maybe || found.d_type == DT_DIR, found.d_type != DT_DIR};
}

std::vector<SiteItem> SiteFolder::items(const std::string &folder) const {
    Descriptor opened = open(folder, Kind::folder);
    const FolderPointer list(fdopendir(opened.number));
    if (list == nullptr) refuse_unopened(shown(folder), errno);
    opened.release();
    std::vector<SiteItem> found;
    errno = 0;
    while (const dirent *item = readdir(list.get())) {
        if (item->d_name[0] == '.') continue;
        if (found.size() == items_limit) refuse(shown(folder), catalogue_text("the folder has too many files"));
        found.push_back(item_of(*item));
    }
    if (errno != 0) refuse_unopened(shown(folder), errno);
    return found;
}

std::string SiteFolder::read(const std::string &file, size_t limit) const {
    const Descriptor opened = open(file, Kind::file);
    struct stat found = {};
    if (fstat(opened.number, &found) != 0) refuse_unopened(shown(file), errno);
    if (static_cast<size_t>(found.st_size) > limit) refuse(shown(file), catalogue_text("the file is too large"));
    std::string text(static_cast<size_t>(found.st_size), '\0');
    if (!descriptor_read(opened, &text))
        refuse(shown(file), catalogue_format("cannot read the file: %s", strerror(errno)));
    return text;
}

std::optional<std::string> SiteFolder::readIfThere(const std::string &file, size_t limit) const {
    const Descriptor there(openat(folder_.number, file.c_str(), O_PATH | O_CLOEXEC | O_NOFOLLOW));
    if (there.number < 0 && errno == ENOENT) return std::nullopt;
    return read(file, limit);
}
