#include "tools/qrtscript/check/rewrite.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "platform/common/opened.h"
#include "platform/common/write_all.h"
#include "tools/qrtscript/check/scripts.h"

namespace fs = std::filesystem;

namespace {

[[noreturn]] void fail(const std::string &name, int error) {
    throw std::system_error(error, std::generic_category(), name);
}

// A new file beside the one that it is to replace; gone with the object unless it has.
class NewFile {
  public:
    explicit NewFile(const std::string &target)
        : target_(target),
          name_((fs::path(target).parent_path() / ".qrtscript.XXXXXX").string()),
          file_(mkostemp(name_.data(), O_CLOEXEC)) {
        if (!file_.isOpen()) fail(target_, errno);
    }
    ~NewFile() {
        if (!replaced_) unlink(name_.c_str());
    }
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;

    int number() const { return file_.number(); }
    void check(bool done) const {
        if (!done) fail(target_, errno);
    }
    void replace() {
        check(fsync(file_.number()) == 0);
        check(rename(name_.c_str(), target_.c_str()) == 0);
        replaced_ = true;
    }

  private:
    std::string target_, name_;
    Opened file_;
    bool replaced_ = false;
};

} // namespace

static std::string real_name(const std::string &name) {
    char *found = realpath(name.c_str(), nullptr);
    if (found == nullptr) fail(name, errno);
    std::string real(found);
    free(found);
    return real;
}

// Access lists and the like. What the file system does not have or the user may not see is not there to be kept.
static void copy_attributes(int from, const NewFile &to) {
    std::string names(65536, '\0'); // the kernel's limit
    const ssize_t size = flistxattr(from, names.data(), names.size());
    for (ssize_t at = 0; at < size;) {
        const std::string name(&names[static_cast<size_t>(at)]);
        at += static_cast<ssize_t>(name.size()) + 1;
        char value[65536];
        const ssize_t length = fgetxattr(from, name.c_str(), value, sizeof value);
        if (length < 0) continue;
        // The system's own labels are given anew.
        const bool isSet = fsetxattr(to.number(), name.c_str(), value, static_cast<size_t>(length), 0) == 0;
        to.check(isSet || name.rfind("security.", 0) == 0);
    }
}

void file_rewrite(const std::string &name, const std::string &before, const std::string &after) {
    const std::string real = real_name(name);
    // A file that its owner has protected is not replaced either.
    const Opened old(open(real.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    struct stat status = {};
    if (!old.isOpen() || fstat(old.number(), &status) != 0) fail(name, errno);
    if (!S_ISREG(status.st_mode)) fail(name, EINVAL);
    NewFile file(real);
    file.check(write_all(file.number(), after));
    if (status.st_uid != geteuid() || status.st_gid != getegid())
        file.check(fchown(file.number(), status.st_uid, status.st_gid) == 0);
    file.check(fchmod(file.number(), status.st_mode & 07777) == 0);
    copy_attributes(old.number(), file);
    if (script_text(real) != before) fail(name, EBUSY);
    file.replace();
}

void file_write(const std::string &name, const std::string &before, const std::string &text) {
    std::error_code error;
    if (fs::exists(name, error)) return file_rewrite(name, before, text);
    NewFile file(name);
    file.check(write_all(file.number(), text));
    const mode_t mask = umask(0);
    umask(mask);
    file.check(fchmod(file.number(), 0666 & ~mask) == 0);
    file.replace();
}
