#include "tools/qrtscript/object/script_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include "platform/catalogue.h"
#include "platform/client/overlay/object_path.h"
#include "platform/common/nocase.h"
#include "platform/common/write_all.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtscript/object/options.h"

static constexpr size_t text_limit = size_t{16} << 20; // of a script
static constexpr size_t depth_limit = 64;              // of names

static Failure cannot_read(const std::string &path, const std::string &why) {
    return Failure(exit_no_script, catalogue_format("cannot read %1$s: %2$s", path.c_str(), why.c_str()));
}

static Failure cannot_write(const std::string &path) {
    return Failure(exit_not_created, catalogue_format("cannot write %1$s: %2$s", path.c_str(), strerror(errno)));
}

static std::string name_of(const std::string &file) {
    return file.substr(file.rfind('/') + 1); // the whole without any
}

ScriptFolder::ScriptFolder(std::string path, Missing missing) : path_(std::move(path)) {
    while (path_.size() > 1 && path_.back() == '/') path_.pop_back();
    if (missing == Missing::made && mkdir(path_.c_str(), 0777) != 0 && errno != EEXIST) throw cannot_write(path_);
    folder_ = Opened(open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder_.isOpen()) throw cannot_read(path_, strerror(errno));
}

// The folder that the file is in, each above it opened from the one before.
Opened ScriptFolder::folderOf(const std::string &file, bool make) const {
    Opened at(openat(folder_.number(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    size_t start = 0;
    for (size_t end = file.find('/'); at.isOpen() && end != file.npos; end = file.find('/', start)) {
        const std::string name = file.substr(start, end - start);
        if (make && mkdirat(at.number(), name.c_str(), 0777) != 0 && errno != EEXIST)
            throw cannot_write(shown(file.substr(0, end)));
        at = Opened(openat(at.number(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        start = end + 1;
    }
    if (!at.isOpen() && make) throw cannot_write(shown(file));
    return at;
}

namespace {

struct CloseFolder {
    void operator()(DIR *folder) const { closedir(folder); }
};

} // namespace

static bool is_script(std::string_view name) {
    return name.size() >= object_path_end.size() &&
           equal_nocase(name.substr(name.size() - object_path_end.size()), object_path_end);
}

void ScriptFolder::addFiles(const std::string &inside, std::vector<std::string> *all) const {
    Opened opened = folderOf(inside, false);
    const std::unique_ptr<DIR, CloseFolder> list(opened.isOpen() ? fdopendir(opened.number()) : nullptr);
    if (list == nullptr) throw cannot_read(shown(inside), strerror(errno));
    opened.release();
    while (const dirent *item = readdir(list.get())) {
        const std::string name = item->d_name;
        const bool isOwn = equal_nocase(name, object_path_container);
        if (name.front() == '.' || (name.front() == '_' && !isOwn)) continue;
        struct stat found = {};
        if (fstatat(dirfd(list.get()), name.c_str(), &found, AT_SYMLINK_NOFOLLOW) != 0)
            throw cannot_read(shown(inside + name), strerror(errno));
        if (S_ISDIR(found.st_mode)) {
            if (std::count(inside.begin(), inside.end(), '/') < static_cast<std::ptrdiff_t>(depth_limit))
                addFiles(inside + name + "/", all);
        } else if (is_script(name) || S_ISLNK(found.st_mode)) {
            if (!S_ISREG(found.st_mode))
                throw cannot_read(shown(inside + name), S_ISLNK(found.st_mode) ? catalogue_text("it is a symbolic link")
                                                                               : catalogue_text("not a regular file"));
            all->push_back(inside + name);
        }
    }
}

std::vector<std::string> ScriptFolder::files() const {
    std::vector<std::string> all;
    addFiles("", &all);
    std::sort(all.begin(), all.end());
    return all;
}

std::string ScriptFolder::read(const std::string &file) const {
    const Opened folder = folderOf(file, false);
    const Opened opened(
        openat(folder.number(), name_of(file).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
    struct stat found = {};
    if (!opened.isOpen() || fstat(opened.number(), &found) != 0) throw cannot_read(shown(file), strerror(errno));
    if (!S_ISREG(found.st_mode)) throw cannot_read(shown(file), catalogue_text("not a regular file"));
    std::string text;
    char part[65536];
    for (;;) {
        const ssize_t got = TEMP_FAILURE_RETRY(::read(opened.number(), part, sizeof part));
        if (got < 0) throw cannot_read(shown(file), strerror(errno));
        if (got == 0) return text;
        text.append(part, static_cast<size_t>(got));
        if (text.size() > text_limit)
            throw cannot_read(shown(file), catalogue_text("the script is larger than 16 MiB"));
    }
}

bool ScriptFolder::has(const std::string &file) const {
    return faccessat(folder_.number(), file.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

void ScriptFolder::write(const std::string &file, std::string_view text) const {
    const Opened folder = folderOf(file, true);
    const std::string name = name_of(file), made = ".qrtscript-" + std::to_string(getpid()) + "~";
    unlinkat(folder.number(), made.c_str(), 0);
    const Opened opened(
        openat(folder.number(), made.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666));
    if (opened.isOpen() && write_all(opened.number(), text) && fsync(opened.number()) == 0 &&
        renameat(folder.number(), made.c_str(), folder.number(), name.c_str()) == 0)
        return;
    const Failure failure = cannot_write(shown(file));
    unlinkat(folder.number(), made.c_str(), 0);
    throw failure;
}

void ScriptFolder::remove(const std::string &file) const {
    const Opened folder = folderOf(file, false);
    if (unlinkat(folder.number(), name_of(file).c_str(), 0) != 0) throw cannot_write(shown(file));
}
