#include "platform/client/core/private_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "platform/client/core/descriptor.h"
#include "platform/common/write_all.h"

static bool is_own_folder(int folder) {
    struct stat found = {};
    return fstat(folder, &found) == 0 && S_ISDIR(found.st_mode) && found.st_uid == geteuid() &&
           (found.st_mode & 022) == 0;
}

static bool is_own_file(const struct stat &found) {
    return S_ISREG(found.st_mode) && found.st_uid == geteuid() && (found.st_mode & 077) == 0;
}

// Only below a folder of the user's or the system's: root must not make folders where a user's link leads.
static bool may_make_in(int parent) {
    struct stat found = {};
    return fstat(parent, &found) == 0 && (found.st_uid == geteuid() || found.st_uid == 0);
}

static int open_folder(int parent, const std::string &name, int flags) {
    return openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | flags);
}

// The folder `name` of `parent`. Those above the last one may be links: where a user's files are is the site's choice.
static int enter(int parent, const std::string &name, bool last, bool make) {
    int flags = last ? O_NOFOLLOW : O_PATH;
    int found = open_folder(parent, name, flags);
    if (found < 0 && errno == ENOENT && make && may_make_in(parent) &&
        (mkdirat(parent, name.c_str(), 0700) == 0 || errno == EEXIST))
        found = open_folder(parent, name, flags | O_NOFOLLOW);
    return found;
}

static int open_path(const std::string &path, bool make) {
    int at = open("/", O_PATH | O_DIRECTORY | O_CLOEXEC);
    for (size_t start = 1; at >= 0 && start <= path.size();) {
        size_t end = path.find('/', start);
        bool last = end == std::string::npos;
        std::string name = path.substr(start, last ? std::string::npos : end - start);
        start = last ? path.size() + 1 : end + 1;
        if (!name.empty()) {
            const Descriptor parent(at);
            at = enter(parent.number, name, last, make);
        }
    }
    return at;
}

PrivateFolder::PrivateFolder(const std::string &path, Missing missing) {
    if (path.empty() || path.front() != '/') return;
    folder_ = open_path(path, missing == Make);
    if (folder_ >= 0 && !is_own_folder(folder_)) {
        close(folder_);
        folder_ = -1;
    }
}

PrivateFolder::~PrivateFolder() {
    close(folder_); // which does nothing where there is none
}

bool PrivateFolder::read(const std::string &name, size_t limit, std::string *text) const {
    if (!isOpen()) return false;
    // Without O_NONBLOCK a named pipe in the place of the file would hold the program.
    const Descriptor file(openat(folder_, name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
    struct stat found = {};
    if (fstat(file.number, &found) != 0 || !is_own_file(found) || static_cast<size_t>(found.st_size) > limit)
        return false;
    text->assign(static_cast<size_t>(found.st_size), '\0');
    return descriptor_read(file, text);
}

bool PrivateFolder::replace(const std::string &name, const std::string &text) const {
    if (!isOpen()) return false;
    char suffix[16];
    snprintf(suffix, sizeof suffix, ".%08x", static_cast<unsigned>(arc4random()));
    const std::string made = name + suffix;
    int descriptor = openat(folder_, made.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (descriptor < 0) return false;
    bool complete = write_all(descriptor, text);
    complete = close(descriptor) == 0 && complete;
    if (!complete || renameat(folder_, made.c_str(), folder_, name.c_str()) != 0) {
        unlinkat(folder_, made.c_str(), 0);
        return false;
    }
    return true;
}

bool PrivateFolder::remove(const std::string &name) const {
    return isOpen() && unlinkat(folder_, name.c_str(), 0) == 0;
}
