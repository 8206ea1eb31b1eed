#include "platform/client/core/file_change.h"

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

#include "platform/catalogue.h"
#include "platform/client/core/errors.h"
#include "platform/common/write_all.h"

static constexpr int lock_tries = 200; // ten seconds
static constexpr useconds_t lock_pause = 50'000;

namespace {

// What ends the process comes when the file is the old or the new one, and nothing else is left in its folder.
class SignalsHeld {
  public:
    SignalsHeld() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    SignalsHeld(const SignalsHeld &) = delete;
    SignalsHeld &operator=(const SignalsHeld &) = delete;
    ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

  private:
    sigset_t before_ = {};
};

// A new file beside another one, gone with the object unless it takes its place.
class NewFile {
  public:
    NewFile(const Descriptor &folder, const std::string &of) : folder_(folder) {
        constexpr int tries = 100;
        for (int i = 0; i < tries && file.number < 0; i++) {
            name_ = ".qrt-" + std::to_string(getpid()) + "-" + std::to_string(i) + "~" + of.substr(0, 200);
            file.number =
                openat(folder.number, name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
            if (file.number < 0 && errno != EEXIST) return;
        }
    }
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;
    ~NewFile() {
        if (file.number >= 0 && isThere_) unlinkat(folder_.number, name_.c_str(), 0);
    }
    // All of the following return false with errno.
    bool fill(std::string_view text) const { return write_all(file.number, text) && fsync(file.number) == 0; }
    bool takePlace(const std::string &name) {
        isThere_ = renameat(folder_.number, name_.c_str(), folder_.number, name.c_str()) != 0;
        return !isThere_;
    }
    bool takeFreePlace(const std::string &name) {
        isThere_ = renameat2(folder_.number, name_.c_str(), folder_.number, name.c_str(), RENAME_NOREPLACE) != 0;
        if (!isThere_ || errno != EINVAL) return !isThere_;
        return linkat(folder_.number, name_.c_str(), folder_.number, name.c_str(), 0) == 0; // where it is not known
    }

    Descriptor file{-1};

  private:
    const Descriptor &folder_;
    std::string name_;
    bool isThere_ = true;
};

} // namespace

[[noreturn]] static void refuse(const std::string &sentence, int problem) {
    const bool isForbidden = problem == EACCES || problem == EPERM || problem == EROFS;
    if (isForbidden) throw CodedError(ZKE_NO_ACCESS, sentence);
    throw DataError(sentence);
}

[[noreturn]] static void refuse_write(const std::string &shown, int problem) {
    refuse(catalogue_format("cannot write %1$s: %2$s", shown.c_str(), strerror(problem)), problem);
}

[[noreturn]] static void refuse_changed(const std::string &shown) {
    throw CodedError(ZKE_SCRIPT_CHANGED, catalogue_format("%s has been changed by somebody else", shown.c_str()));
}

// Whoever may only read the file cannot hold this lock.
static void lock(const Descriptor &file, const std::string &shown) {
    struct flock whole = {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    for (int i = 0; fcntl(file.number, F_OFD_SETLK, &whole) != 0; i++) {
        if (errno != EAGAIN && errno != EACCES) refuse_write(shown, errno);
        if (i == lock_tries) throw DataError(catalogue_format("%s is being changed by another program", shown.c_str()));
        usleep(lock_pause);
    }
}

static bool is_same(const struct stat &a, const struct stat &b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
           a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

FileChange::FileChange(const Descriptor &folder, std::string name, std::string shown, size_t limit)
    : folder_(folder), name_(std::move(name)), shown_(std::move(shown)) {
    do { // what was locked may have been replaced while it was waited for
        Descriptor opened(
            openat(folder_.number, name_.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW));
        if (opened.number < 0 && errno == ENOENT)
            throw CodedError(ZKE_NO_SUCH_VALUE,
                             catalogue_format("cannot open %1$s: %2$s", shown_.c_str(), strerror(ENOENT)));
        if (opened.number < 0) refuse_write(shown_, errno);
        if (fstat(opened.number, &status_) != 0) refuse_write(shown_, errno);
        if (!S_ISREG(status_.st_mode)) throw DataError(shown_ + ": " + catalogue_text("not a regular file"));
        lock(opened, shown_);
        if (fstat(opened.number, &status_) != 0) refuse_write(shown_, errno);
        std::swap(file_.number, opened.number);
    } while (!isInPlace());
    if (static_cast<size_t>(status_.st_size) > limit)
        throw DataError(shown_ + ": " + catalogue_text("the file is too large"));
    text_.resize(static_cast<size_t>(status_.st_size));
    if (!descriptor_read(file_, &text_))
        throw DataError(shown_ + ": " + catalogue_format("cannot read the file: %s", strerror(errno)));
}

bool FileChange::isInPlace() const {
    struct stat now = {};
    return fstatat(folder_.number, name_.c_str(), &now, AT_SYMLINK_NOFOLLOW) != 0 ||
           (now.st_dev == status_.st_dev && now.st_ino == status_.st_ino);
}

bool FileChange::isUnchanged() const {
    struct stat now = {};
    return fstatat(folder_.number, name_.c_str(), &now, AT_SYMLINK_NOFOLLOW) == 0 && is_same(now, status_);
}

void FileChange::requireUnchanged() const {
    if (!isUnchanged()) refuse_changed(shown_);
}

// Access lists among them: without its list a file's mode would let its whole group in. What the kernel keeps for
// itself cannot be copied.
static bool copy_attributes(int from, int to) {
    const ssize_t size = flistxattr(from, nullptr, 0);
    if (size <= 0) return size == 0 || errno == ENOTSUP;
    std::vector<char> names(static_cast<size_t>(size));
    const ssize_t got = flistxattr(from, names.data(), names.size());
    for (const char *name = names.data(); got > 0 && name < names.data() + got; name += strlen(name) + 1) {
        const ssize_t length = fgetxattr(from, name, nullptr, 0);
        if (length < 0) return false;
        std::vector<char> value(static_cast<size_t>(length) + 1);
        const ssize_t read = fgetxattr(from, name, value.data(), value.size());
        const bool copied = read >= 0 && fsetxattr(to, name, value.data(), static_cast<size_t>(read), 0) == 0;
        if (!copied && (strncmp(name, "user.", 5) == 0 || strcmp(name, "system.posix_acl_access") == 0)) return false;
    }
    return got >= 0;
}

void FileChange::copyRights(const Descriptor &made) const {
    struct stat own = {};
    if (fstat(made.number, &own) != 0) refuse_write(shown_, errno);
    const bool isOthers = own.st_uid != status_.st_uid || own.st_gid != status_.st_gid;
    if (isOthers && fchown(made.number, status_.st_uid, status_.st_gid) != 0) {
        const int problem = errno;
        refuse(catalogue_format("cannot write %1$s: its owner would not stay: %2$s", shown_.c_str(), strerror(problem)),
               problem);
    }
    if (fchmod(made.number, status_.st_mode & 07777) != 0 || !copy_attributes(file_.number, made.number)) {
        const int problem = errno;
        refuse(
            catalogue_format("cannot write %1$s: its rights would not stay: %2$s", shown_.c_str(), strerror(problem)),
            problem);
    }
}

void FileChange::replace(std::string_view text) {
    const SignalsHeld held;
    NewFile made(folder_, name_);
    if (made.file.number < 0) refuse_write(shown_, errno);
    copyRights(made.file);
    if (!made.fill(text)) refuse_write(shown_, errno);
    requireUnchanged();
    if (!made.takePlace(name_)) refuse_write(shown_, errno);
    fsync(folder_.number);
}

void FileChange::remove() {
    requireUnchanged();
    if (unlinkat(folder_.number, name_.c_str(), 0) != 0) refuse_write(shown_, errno);
    fsync(folder_.number);
}

void file_create(const Descriptor &folder, const std::string &name, const std::string &shown, std::string_view text) {
    constexpr mode_t forEverybody = 0644;
    const SignalsHeld held;
    NewFile made(folder, name);
    if (made.file.number < 0 || fchmod(made.file.number, forEverybody) != 0 || !made.fill(text))
        refuse_write(shown, errno);
    if (!made.takeFreePlace(name)) {
        if (errno == EEXIST) refuse_changed(shown);
        refuse_write(shown, errno);
    }
    fsync(folder.number);
}
