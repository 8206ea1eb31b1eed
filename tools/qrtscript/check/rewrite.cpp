#include "tools/qrtscript/check/rewrite.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "platform/common/opened.h"
#include "platform/common/write_all.h"
#include "tools/qrtscript/check/scripts.h"

namespace {

// A file beside the one that it will replace, gone with the object unless it has replaced it.
class Replacement {
  public:
    explicit Replacement(const std::string &target)
        : target_(target),
          name_(target.substr(0, target.rfind('/') + 1) + ".qrtscript-XXXXXX"),
          file_(mkostemp(name_.data(), O_CLOEXEC)) {
        if (!file_.isOpen()) fail(errno);
    }
    ~Replacement() {
        if (!name_.empty()) unlink(name_.c_str());
    }
    Replacement(const Replacement &) = delete;
    Replacement &operator=(const Replacement &) = delete;

    void fill(std::string_view text) const {
        if (!write_all(file_.number(), text)) fail(errno);
    }
    // The mode last: a change of the owner takes bits of it away.
    void takeRights(const struct stat &old) const {
        struct stat own = {};
        if (fstat(file_.number(), &own) != 0) fail(errno);
        const bool same = own.st_uid == old.st_uid && own.st_gid == old.st_gid;
        if (!same && fchown(file_.number(), old.st_uid, old.st_gid) != 0) fail(errno);
        if (fchmod(file_.number(), old.st_mode & 07777) != 0) fail(errno);
    }
    void replace() {
        if (fsync(file_.number()) != 0 || rename(name_.c_str(), target_.c_str()) != 0) fail(errno);
        name_.clear();
    }

  private:
    [[noreturn]] void fail(int error) const { throw std::system_error(error, std::generic_category(), target_); }

    std::string target_, name_;
    Opened file_;
};

} // namespace

void file_rewrite(const std::string &name, std::string_view before, std::string_view text) {
    const std::string target = std::filesystem::canonical(name);
    struct stat old = {};
    if (stat(target.c_str(), &old) != 0) throw std::system_error(errno, std::generic_category(), name);
    // Renaming would pass a file that its owner has protected.
    if (access(target.c_str(), W_OK) != 0) throw std::system_error(errno, std::generic_category(), name);
    Replacement file(target);
    file.fill(text);
    file.takeRights(old);
    if (script_text(target) != before) throw std::system_error(EBUSY, std::generic_category(), name);
    file.replace();
}
