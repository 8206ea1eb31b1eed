#include "platform/common/drive_state.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/posix_acl.h>
#include <linux/posix_acl_xattr.h>
#include <linux/xattr.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "platform/catalogue.h"
#include "platform/common/location.h"
#include "platform/common/nocase.h"
#include "platform/common/places.h"
#include "platform/common/write_all.h"

// Whoever asks the automounter for names that he makes up fills no file system by it.
static constexpr size_t most_names = 128;

namespace {

struct Meaning {
    DriveFailure failure;
    const char *code;
    const char *text;
};

struct CloseFolder {
    void operator()(DIR *folder) const { closedir(folder); }
};

} // namespace

static const Meaning meanings[] = {
    {DriveFailure::none, "mounted", ""},
    {DriveFailure::wrongPassword, "wrong-password", catalogue_mark("wrong password")},
    {DriveFailure::passwordExpired, "password-expired", catalogue_mark("the password has expired")},
    {DriveFailure::accountLocked, "account-locked", catalogue_mark("the account is locked or disabled")},
    {DriveFailure::notAllowed, "not-allowed", catalogue_mark("access denied")},
    {DriveFailure::noTicket, "no-ticket", catalogue_mark("no Kerberos ticket")},
    {DriveFailure::noSuchShare, "no-such-share", catalogue_mark("no such share")},
    {DriveFailure::unknownHost, "unknown-host", catalogue_mark("unknown host")},
    {DriveFailure::refused, "refused", catalogue_mark("the server refused the connection")},
    {DriveFailure::noAnswer, "no-answer", catalogue_mark("no answer from the server")},
    {DriveFailure::noSource, "no-source", catalogue_mark("no source is configured for the volume")},
    {DriveFailure::badSource, "bad-source", catalogue_mark("the source of the volume is not valid")},
    {DriveFailure::noHelper, "no-helper", catalogue_mark("the mount program is not installed")},
    {DriveFailure::noFileSystem, "no-file-system", catalogue_mark("the kernel does not support the file system")},
    {DriveFailure::failed, "failed", catalogue_mark("cannot be mounted")},
};

static const Meaning &meaning_of(DriveFailure failure) {
    for (const Meaning &meaning : meanings)
        if (meaning.failure == failure) return meaning;
    return meanings[0];
}

std::string drive_failure_text(DriveFailure failure) {
    const char *text = meaning_of(failure).text;
    return *text == '\0' ? "" : catalogue_text(text);
}

// Root's folder below another one of root's; made when it is missing.
static int open_folder(int above, const char *name) {
    constexpr mode_t not_listed = S_IRWXU | S_IXGRP | S_IXOTH;
    if (mkdirat(above, name, not_listed) == 0 && fchmodat(above, name, not_listed, 0) != 0) return -1;
    const int folder = openat(above, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    struct stat status = {};
    if (folder < 0 || (fstat(folder, &status) == 0 && status.st_uid == geteuid())) return folder;
    close(folder);
    errno = EPERM;
    return -1;
}

// Removes a state, or a server's folder with its states, in which there are no folders.
static bool remove_name(int folder, const std::string &name) {
    if (unlinkat(folder, name.c_str(), 0) == 0) return true;
    const std::unique_ptr<DIR, CloseFolder> states(
        fdopendir(openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)));
    if (states == nullptr) return false;
    while (const dirent *item = readdir(states.get())) unlinkat(dirfd(states.get()), item->d_name, 0);
    return unlinkat(folder, name.c_str(), AT_REMOVEDIR) == 0;
}

// With the folder full the name whose state is oldest makes room. False with errno when there is none.
static bool make_room(int folder) {
    const std::unique_ptr<DIR, CloseFolder> names(fdopendir(dup(folder)));
    size_t count = 0;
    time_t oldest = 0;
    std::string victim;
    if (names == nullptr) return false;
    rewinddir(names.get());
    while (const dirent *item = readdir(names.get())) {
        struct stat status = {};
        if (item->d_name[0] == '.' || fstatat(folder, item->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) continue;
        ++count;
        if (!victim.empty() && status.st_mtime >= oldest) continue;
        victim = item->d_name;
        oldest = status.st_mtime;
    }
    return count < most_names || remove_name(folder, victim);
}

static bool exists(int folder, const std::string &name) {
    struct stat status = {};
    return fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

// Lets the user read root's file, and nobody else. It does not become the user's, who could fill the file system of
// root's by it; only where that has no access lists it does.
static bool let_read(int file, uid_t user) {
    constexpr auto nobody = static_cast<uint32_t>(ACL_UNDEFINED_ID);
    const struct {
        posix_acl_xattr_header header;
        posix_acl_xattr_entry entries[5];
    } list = {{htole32(POSIX_ACL_XATTR_VERSION)},
              {{htole16(ACL_USER_OBJ), htole16(ACL_READ), htole32(nobody)},
               {htole16(ACL_USER), htole16(ACL_READ), htole32(user)},
               {htole16(ACL_GROUP_OBJ), 0, htole32(nobody)},
               {htole16(ACL_MASK), htole16(ACL_READ), htole32(nobody)},
               {htole16(ACL_OTHER), 0, htole32(nobody)}}};
    if (user == geteuid() || fsetxattr(file, XATTR_NAME_POSIX_ACL_ACCESS, &list, sizeof list, 0) == 0) return true;
    return errno == ENOTSUP && fchown(file, user, -1) == 0;
}

static bool write_file(int folder, const std::string &name, uid_t user, const std::string &text) {
    const std::string temporary = ".new-" + std::to_string(getpid());
    unlinkat(folder, temporary.c_str(), 0);
    const Opened file(openat(folder, temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR));
    if (!file.isOpen()) return false;
    const bool written = write_all(file.number(), text) && let_read(file.number(), user) &&
                         renameat(folder, temporary.c_str(), folder, name.c_str()) == 0;
    const int problem = errno;
    if (!written) unlinkat(folder, temporary.c_str(), 0);
    errno = problem;
    return written;
}

static std::string text_of(const DriveState &state) {
    return std::string("brasca-drive 1 ") + meaning_of(state.failure).code + " " + std::to_string(state.when) + "\n";
}

static Opened open_user_folder(uid_t user) {
    mkdir(place_drive_states, S_IRWXU | S_IXGRP | S_IXOTH);
    const Opened top(open(place_drive_states, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    return Opened(top.isOpen() ? open_folder(top.number(), std::to_string(user).c_str()) : -1);
}

// Names that differ in case only are one entry.
static std::string folded(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(), upper_case);
    return name;
}

bool drive_state_write(uid_t user, const std::string &asServer, const std::string &asVolume, const DriveState &state) {
    const std::string server = folded(asServer), volume = folded(asVolume);
    errno = EINVAL;
    if (!is_folder_name(server) || !is_folder_name(volume) || server[0] == '.' || volume[0] == '.') return false;
    const Opened own = open_user_folder(user);
    if (!own.isOpen()) return false;
    if (!exists(own.number(), server) && !make_room(own.number())) return false;
    const Opened folder(open_folder(own.number(), server.c_str()));
    if (!folder.isOpen()) return false;
    if (!exists(folder.number(), volume) && !make_room(folder.number())) return false;
    return write_file(folder.number(), volume, user, text_of(state));
}

static std::optional<DriveState> state_in(const char *text) {
    char code[32] = "";
    long long when = 0;
    char end = '\0';
    if (sscanf(text, "brasca-drive 1 %31[a-z-] %lld%c", code, &when, &end) != 3 || end != '\n') return std::nullopt;
    for (const Meaning &meaning : meanings)
        if (strcmp(meaning.code, code) == 0) return DriveState{meaning.failure, static_cast<time_t>(when)};
    return std::nullopt;
}

static std::string text_in(const Opened &file) {
    char text[256] = "";
    if (!file.isOpen() || TEMP_FAILURE_RETRY(read(file.number(), text, sizeof text - 1)) <= 0) return "";
    return text;
}

std::optional<DriveState> drive_state_read(const std::string &server, const std::string &volume) {
    if (!is_folder_name(server) || !is_folder_name(volume)) return std::nullopt;
    const std::string path =
        std::string(place_drive_states) + "/" + std::to_string(geteuid()) + "/" + folded(server) + "/" + folded(volume);
    const Opened file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    return state_in(text_in(file).c_str());
}

// No servers' folders: those begin with no dot.
static constexpr const char *refusal_name = ".refused";
static constexpr const char *turn_name = ".turn";

Opened password_turn_take(uid_t user, long seconds) {
    constexpr long looks = 20; // in a second
    constexpr timespec pause = {0, 1000 * 1000 * 1000 / looks};
    const Opened own = open_user_folder(user);
    if (!own.isOpen()) return Opened(-1);
    Opened turn(openat(own.number(), turn_name, O_RDONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR));
    for (long left = seconds * looks; turn.isOpen() && flock(turn.number(), LOCK_EX | LOCK_NB) != 0; --left) {
        if (errno != EWOULDBLOCK || left <= 0) return Opened(-1);
        nanosleep(&pause, nullptr);
    }
    return turn;
}

bool password_refusal_write(uid_t user, const std::string &version, const DriveState &state) {
    const Opened own = open_user_folder(user);
    return own.isOpen() && write_file(own.number(), refusal_name, geteuid(), version + " " + text_of(state));
}

std::optional<DriveState> password_refusal_read(uid_t user, const std::string &version) {
    const Opened own = open_user_folder(user);
    if (!own.isOpen()) return std::nullopt;
    const std::string text =
        text_in(Opened(openat(own.number(), refusal_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)));
    const std::string start = version + " ";
    if (text.compare(0, start.size(), start) != 0) return std::nullopt;
    return state_in(text.c_str() + start.size());
}
