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

[[noreturn]] static void refuse(const std::string &path, const char *why) {
    throw FileTrouble{FileTrouble::Kind::refused, path, 0, why};
}

[[noreturn]] static void refuse_unopened(const std::string &path, int problem) {
    throw FileTrouble{FileTrouble::Kind::unopened, path, problem};
}

static std::string real_path(const std::string &path, const std::string &shown) {
    const std::unique_ptr<char, decltype(&free)> real(realpath(path.c_str(), nullptr), &free);
    if (real == nullptr) refuse_unopened(shown, errno);
    return real.get();
}

// The folder without a time limit. What asks it runs on a thread of its own: it fails with a FileTrouble.
class SiteFolder::Opened {
  public:
    Opened(const std::string &path, uid_t configurationOwner);

    std::vector<SiteItem> items(const std::string &folder, FileSteps *steps) const;
    std::string read(const std::string &file, size_t limit, FileSteps *steps) const;
    bool isThere(const std::string &file) const;
    std::string real(const std::string &inside) const;
    void makeFolders(const std::string &inside) const;

    enum class Kind { folder, file };
    Descriptor open(const std::string &inside, Kind kind) const;

  private:
    void check(const Descriptor &opened, Kind kind, const std::string &what) const;
    std::string shown(const std::string &inside) const { return path_ + "/" + inside; }

    std::string path_;
    std::string real_; // without symbolic links
    bool ownToo_;
    Descriptor folder_{-1};
};

SiteFolder::Opened::Opened(const std::string &path, uid_t configurationOwner)
    : path_(path), real_(real_path(path, path)), ownToo_(configurationOwner == geteuid()) {
    folder_.number = ::open(real_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW);
    if (folder_.number < 0) refuse_unopened(path_, errno);
    check(folder_, Kind::folder, path_);
}

void SiteFolder::Opened::check(const Descriptor &opened, Kind kind, const std::string &what) const {
    struct stat found = {};
    if (fstat(opened.number, &found) != 0) refuse_unopened(what, errno);
    if (kind == Kind::file && !S_ISREG(found.st_mode)) refuse(what, catalogue_mark("not a regular file"));
    if (found.st_uid != 0 && !(ownToo_ && found.st_uid == geteuid())) {
        refuse(what,
               ownToo_ ? catalogue_mark("it must belong to root or to you") : catalogue_mark("it must belong to root"));
    }
    if ((found.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        refuse(what, catalogue_mark("a group or others may write to it: run chmod go-w on it"));
}

// The path without symbolic links, relative to the folder.
std::string SiteFolder::Opened::real(const std::string &inside) const {
    const std::string found = real_path(real_ + "/" + inside, shown(inside));
    const std::string top = real_ == "/" ? real_ : real_ + "/";
    if (found == real_) return "";
    if (found.compare(0, top.size(), top) != 0)
        refuse(shown(inside), catalogue_mark("the symbolic link leads out of the folder"));
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
Descriptor SiteFolder::Opened::open(const std::string &inside, Kind kind) const {
    const std::string path = real(inside);
    Descriptor at(openat(folder_.number, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)); // with a position of its own
    for (size_t start = 0; start < path.size();) {
        const size_t end = path.find('/', start);
        const bool isLast = end == path.npos;
        const Kind wanted = isLast ? kind : Kind::folder;
        Descriptor next(open_at(at.number, path.substr(start, end - start), wanted == Kind::folder));
        const std::string what = isLast ? shown(inside) : shown(path.substr(0, end));
        if (next.number < 0 && errno == 0) refuse(what, catalogue_mark("not a regular file"));
        if (next.number < 0) refuse_unopened(what, errno);
        check(next, wanted, what);
        std::swap(at.number, next.number);
        start = isLast ? path.size() : end + 1;
    }
    if (at.number < 0) refuse_unopened(shown(inside), errno);
    return Descriptor(at.release());
}

// Whoever logs in has to be able to read what is in them, whatever the umask.
void SiteFolder::Opened::makeFolders(const std::string &inside) const {
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
        throw FileTrouble{FileTrouble::Kind::unmade, shown(path), errno};
    }
}

static SiteItem item_of(const dirent &found) {
    const bool maybe = found.d_type == DT_LNK || found.d_type == DT_UNKNOWN;
    return {found.d_name, maybe || found.d_type == DT_DIR, found.d_type != DT_DIR};
}

std::vector<SiteItem> SiteFolder::Opened::items(const std::string &folder, FileSteps *steps) const {
    Descriptor opened = open(folder, Kind::folder);
    const FolderPointer list(fdopendir(opened.number));
    if (list == nullptr) refuse_unopened(shown(folder), errno);
    opened.release();
    std::vector<SiteItem> found;
    errno = 0;
    while (const dirent *item = readdir(list.get())) {
        if (item->d_name[0] == '.') continue;
        if (found.size() == items_limit) refuse(shown(folder), catalogue_mark("the folder has too many files"));
        found.push_back(item_of(*item));
        ++*steps;
    }
    if (errno != 0) refuse_unopened(shown(folder), errno);
    return found;
}

std::string SiteFolder::Opened::read(const std::string &file, size_t limit, FileSteps *steps) const {
    return file_read(open(file, Kind::file), limit, shown(file), steps);
}

bool SiteFolder::Opened::isThere(const std::string &file) const {
    const Descriptor there(openat(folder_.number, file.c_str(), O_PATH | O_CLOEXEC | O_NOFOLLOW));
    return there.number >= 0 || errno != ENOENT;
}

static std::string without_slashes(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

[[noreturn]] static void report(const FileTrouble &trouble) {
    const bool isForbidden = trouble.error == EACCES || trouble.error == EPERM || trouble.error == EROFS;
    if (trouble.kind == FileTrouble::Kind::unmade && isForbidden)
        throw CodedError(ZKE_NO_ACCESS, file_trouble_text(trouble));
    throw DataError(file_trouble_text(trouble));
}

SiteFolder::SiteFolder(const std::string &path, uid_t configurationOwner, double timeLimit)
    : path_(without_slashes(path)), access_(timeLimit) {
    using Made = std::shared_ptr<const Opened>;
    const auto open = [shown = path_, configurationOwner](FileSteps *) -> Made {
        return std::make_shared<const Opened>(shown, configurationOwner);
    };
    try {
        opened_ = access_.run<Made>(path_, open);
    } catch (const FileTrouble &trouble) {
        report(trouble);
    }
}

template <typename Result>
Result SiteFolder::ask(const std::string &what, std::function<Result(const Opened &, FileSteps *)> question) const {
    try {
        return access_.run<Result>(
            what,
            [opened = opened_, question = std::move(question)](FileSteps *steps) { return question(*opened, steps); });
    } catch (const FileTrouble &trouble) {
        report(trouble);
    }
}

std::vector<SiteItem> SiteFolder::items(const std::string &folder) const {
    return ask<std::vector<SiteItem>>(
        shown(folder), [folder](const Opened &opened, FileSteps *steps) { return opened.items(folder, steps); });
}

std::string SiteFolder::read(const std::string &file, size_t limit) const {
    return ask<std::string>(
        shown(file), [file, limit](const Opened &opened, FileSteps *steps) { return opened.read(file, limit, steps); });
}

std::optional<std::string> SiteFolder::readIfThere(const std::string &file, size_t limit) const {
    using Text = std::optional<std::string>;
    return ask<Text>(shown(file), [file, limit](const Opened &opened, FileSteps *steps) -> Text {
        if (!opened.isThere(file)) return std::nullopt;
        return opened.read(file, limit, steps);
    });
}

bool SiteFolder::isForAll(const std::string &file) const {
    return ask<bool>(
        shown(file), [file](const Opened &opened,
                            FileSteps *) { return descriptor_is_for_all(opened.open(file, Opened::Kind::file)); });
}

Descriptor SiteFolder::folderOf(const std::string &file, bool make, std::string *name) const {
    struct Found {
        std::string name;
        std::shared_ptr<Descriptor> folder;
    };
    const Found found = ask<Found>(shown(file), [file, make](const Opened &opened, FileSteps *) -> Found {
        if (make) opened.makeFolders(file);
        const std::string path = make ? file : opened.real(file);
        const size_t slash = path.rfind('/');
        const std::string above = slash == path.npos ? "" : path.substr(0, slash);
        return {path.substr(slash == path.npos ? 0 : slash + 1),
                std::make_shared<Descriptor>(opened.open(above, Opened::Kind::folder).release())};
    });
    *name = found.name;
    return Descriptor(found.folder->release());
}
