#include "tools/automount/root_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/catalogue.h"
#include "platform/common/opened.h"
#include "platform/common/write_all.h"

static constexpr mode_t others_write = S_IWGRP | S_IWOTH;

[[noreturn]] static void refuse(const std::string &path, int problem) {
    throw AutomountError(catalogue_format("cannot open %1$s: %2$s", path.c_str(), strerror(problem)));
}

static void check_owner(const std::string &path, const struct stat &status) {
    if (status.st_uid != 0 && status.st_uid != geteuid())
        throw AutomountError(catalogue_format("%s does not belong to root", path.c_str()));
    const bool sticky = S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0;
    if ((status.st_mode & others_write) != 0 && !sticky)
        throw AutomountError(catalogue_format("%s is writable by others than root", path.c_str()));
}

static struct stat checked(int descriptor, const std::string &path) {
    struct stat status = {};
    if (fstat(descriptor, &status) != 0) refuse(path, errno);
    if (S_ISLNK(status.st_mode)) throw AutomountError(catalogue_format("%s is a symbolic link", path.c_str()));
    check_owner(path, status);
    return status;
}

// One folder of the way. -1 when it does not exist and is not to be made.
static int step(int above, const std::string &path, const std::string &name, bool make) {
    if (make && mkdirat(above, name.c_str(), S_IRWXU | S_IRGRP | S_IXGRP | S_IROTH | S_IXOTH) != 0 && errno != EEXIST)
        refuse(path, errno);
    const int folder = openat(above, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC);
    if (folder < 0 && errno == ENOENT) return -1;
    if (folder < 0) refuse(path, errno);
    return folder;
}

// The folder of the file; -1 when there is none. The descriptor is the caller's.
static int open_parent(const std::string &path, bool make) {
    Opened at(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
    for (size_t start = 1;;) {
        const size_t end = path.find('/', start);
        if (end == std::string::npos) return at.release();
        const std::string so_far = path.substr(0, end);
        Opened next(step(at.number(), so_far, path.substr(start, end - start), make));
        if (next.number() < 0) return -1;
        if (!S_ISDIR(checked(next.number(), so_far).st_mode)) refuse(so_far, ENOTDIR);
        at = std::move(next);
        start = end + 1;
    }
}

static std::string leaf_of(const std::string &path) {
    return path.substr(path.rfind('/') + 1);
}

// -1 when it does not exist.
static int open_checked(const std::string &path) {
    const Opened parent(open_parent(path, false));
    if (parent.number() < 0) return -1;
    Opened file(
        openat(parent.number(), leaf_of(path).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (file.number() < 0 && errno == ENOENT) return -1;
    if (file.number() < 0 && errno == ELOOP)
        throw AutomountError(catalogue_format("%s is a symbolic link", path.c_str()));
    if (file.number() < 0) refuse(path, errno);
    if (!S_ISREG(checked(file.number(), path).st_mode))
        throw AutomountError(catalogue_format("%s is not a regular file", path.c_str()));
    return file.release();
}

void root_file_check(const std::string &path) {
    const Opened file(open_checked(path));
    if (file.number() < 0) refuse(path, ENOENT);
}

bool root_file_read(const std::string &path, size_t limit, std::string *text) {
    const Opened file(open_checked(path));
    if (file.number() < 0) return false;
    text->clear();
    char part[4096];
    ssize_t got = 0;
    while ((got = TEMP_FAILURE_RETRY(read(file.number(), part, sizeof part))) > 0 && text->size() <= limit)
        text->append(part, static_cast<size_t>(got));
    if (got < 0) throw AutomountError(catalogue_format("cannot read %1$s: %2$s", path.c_str(), strerror(errno)));
    if (text->size() > limit) throw AutomountError(catalogue_format("%s is too large", path.c_str()));
    return true;
}

void root_file_write(const std::string &path, const std::string &text) {
    const Opened parent(open_parent(path, true));
    const std::string leaf = leaf_of(path);
    const std::string temporary = "." + leaf + "-" + std::to_string(getpid());
    unlinkat(parent.number(), temporary.c_str(), 0);
    const Opened folder(openat(parent.number(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const Opened file(openat(folder.number(), temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                             S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH));
    const bool written = file.number() >= 0 && write_all(file.number(), text) &&
                         fchmod(file.number(), S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH) == 0 &&
                         renameat(folder.number(), temporary.c_str(), folder.number(), leaf.c_str()) == 0;
    if (written) return;
    const int problem = errno;
    unlinkat(parent.number(), temporary.c_str(), 0);
    throw AutomountError(catalogue_format("cannot write %1$s: %2$s", path.c_str(), strerror(problem)));
}
