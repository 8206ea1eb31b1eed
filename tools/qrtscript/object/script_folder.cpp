#include "tools/qrtscript/object/script_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/limits.h>
#include <strings.h>
#include <sys/stat.h>
#include <sys/xattr.h>
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
#include "tools/qrtscript/object/file_place.h"
#include "tools/qrtscript/object/line_end.h"
#include "tools/qrtscript/object/options.h"
#include "tools/qrtscript/object/signals_held.h"

static constexpr size_t text_limit = size_t{16} << 20; // of a script
static constexpr size_t depth_limit = 64;              // of names

static Failure cannot_read(const std::string &path, const std::string &why) {
    return Failure(exit_no_script, catalogue_format("cannot read %1$s: %2$s", path.c_str(), why.c_str()));
}

static Failure cannot_write(const std::string &path) {
    return Failure(exit_not_created, catalogue_format("cannot write %1$s: %2$s", path.c_str(), strerror(errno)));
}

ScriptFolder::ScriptFolder(std::string path, Missing missing) : path_(std::move(path)) {
    while (path_.size() > 1 && path_.back() == '/') path_.pop_back();
    if (missing == Missing::made && mkdir(path_.c_str(), 0777) != 0 && errno != EEXIST) throw cannot_write(path_);
    folder_ = Opened(open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder_.isOpen()) throw cannot_read(path_, strerror(errno));
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

void ScriptFolder::addContents(const std::string &inside, Contents *all) const {
    Opened opened = folder_of_file(folder_, inside);
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
            if (std::count(inside.begin(), inside.end(), '/') >= static_cast<std::ptrdiff_t>(depth_limit)) continue;
            all->folders.push_back(inside + name + "/");
            addContents(inside + name + "/", all);
        } else if (is_script(name) || S_ISLNK(found.st_mode)) {
            if (!S_ISREG(found.st_mode))
                throw cannot_read(shown(inside + name), S_ISLNK(found.st_mode) ? catalogue_text("it is a symbolic link")
                                                                               : catalogue_text("not a regular file"));
            all->files.push_back(inside + name);
        }
    }
}

ScriptFolder::Contents ScriptFolder::contents() const {
    Contents all;
    addContents("", &all);
    std::sort(all.files.begin(), all.files.end());
    std::sort(all.folders.begin(), all.folders.end());
    return all;
}

std::string ScriptFolder::read(const std::string &file) const {
    const Opened folder = folder_of_file(folder_, file);
    const Opened opened(
        openat(folder.number(), name_of_file(file).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
    struct stat found = {};
    if (!opened.isOpen() || fstat(opened.number(), &found) != 0) throw cannot_read(shown(file), strerror(errno));
    if (!S_ISREG(found.st_mode)) throw cannot_read(shown(file), catalogue_text("not a regular file"));
    std::string text;
    char part[65536];
    for (;;) {
        const ssize_t got = TEMP_FAILURE_RETRY(::read(opened.number(), part, sizeof part));
        if (got < 0) throw cannot_read(shown(file), strerror(errno));
        if (got == 0) return text_with_line_end(std::move(text));
        text.append(part, static_cast<size_t>(got));
        if (text.size() > text_limit)
            throw cannot_read(shown(file), catalogue_text("the script is larger than 16 MiB"));
    }
}

bool ScriptFolder::has(const std::string &file) const {
    return faccessat(folder_.number(), file.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

// The mode of the file that is replaced, with its access list: without that the mode would let a whole group in.
static bool keep_rights(const Opened &before, const Opened &made) {
    constexpr const char *access_list = "system.posix_acl_access";
    struct stat found = {}, own = {};
    if (fstat(before.number(), &found) != 0 || fstat(made.number(), &own) != 0) return false;
    mode_t rights = found.st_mode & 0777;
    const bool isOthers = own.st_uid != found.st_uid || own.st_gid != found.st_gid;
    const bool isGroups = !isOthers || fchown(made.number(), found.st_uid, found.st_gid) == 0 ||
                          fchown(made.number(), static_cast<uid_t>(-1), found.st_gid) == 0;
    std::vector<char> list(XATTR_SIZE_MAX);
    const ssize_t size = fgetxattr(before.number(), access_list, list.data(), list.size());
    if (!isGroups || (size < 0 && errno != ENODATA && errno != ENOTSUP)) rights &= ~mode_t{S_IRWXG};
    if (fchmod(made.number(), rights) != 0) return false;
    return size < 0 || !isGroups ||
           fsetxattr(made.number(), access_list, list.data(), static_cast<size_t>(size), 0) == 0;
}

void ScriptFolder::write(const std::string &file, std::string_view text, bool isPrivate) const {
    const SignalsHeld held;
    const Opened folder = folder_of_file(folder_, file, 0777);
    if (!folder.isOpen()) throw cannot_write(shown(file));
    const std::string name = name_of_file(file), made = ".qrtscript-" + std::to_string(getpid()) + "~";
    const Opened before(openat(folder.number(), name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    unlinkat(folder.number(), made.c_str(), 0);
    const Opened opened(openat(folder.number(), made.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW,
                               isPrivate || before.isOpen() ? 0600 : 0666));
    if (opened.isOpen() && (!before.isOpen() || keep_rights(before, opened)) && write_all(opened.number(), text) &&
        renameat(folder.number(), made.c_str(), folder.number(), name.c_str()) == 0)
        return;
    const Failure failure = cannot_write(shown(file));
    unlinkat(folder.number(), made.c_str(), 0);
    throw failure;
}

void ScriptFolder::remove(const std::string &file) const {
    const Opened folder = folder_of_file(folder_, file);
    if (unlinkat(folder.number(), name_of_file(file).c_str(), 0) != 0) throw cannot_write(shown(file));
}

// Once for all files: waiting for each of them takes some milliseconds.
void ScriptFolder::sync() const {
    if (syncfs(folder_.number()) != 0) throw cannot_write(path_);
}
