#include "platform/common/smb_credentials.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "platform/common/opened.h"
#include "platform/common/places.h"
#include "platform/common/write_all.h"

static constexpr const char *file_name = "brasca-credentials";
static constexpr size_t name_limit = 256;
static constexpr size_t file_limit = 2 * name_limit + Secret::usual_capacity + 3;

// What could end an option of a mount, or a line, is in no name.
static bool is_name(std::string_view name) {
    return name.size() <= name_limit &&
           std::none_of(
               name.begin(), name.end(),
               [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7F || c == ',' || c == '"'; });
}

static std::string version_of(int descriptor) {
    struct stat status = {};
    if (fstat(descriptor, &status) != 0) return "";
    return std::to_string(status.st_ino) + "-" + std::to_string(status.st_mtim.tv_sec) + "." +
           std::to_string(status.st_mtim.tv_nsec);
}

static bool is_private(int descriptor, uid_t user, mode_t kind) {
    constexpr mode_t others = S_IRWXG | S_IRWXO;
    struct stat status = {};
    return fstat(descriptor, &status) == 0 && status.st_uid == user && (status.st_mode & S_IFMT) == kind &&
           (status.st_mode & others) == 0;
}

static Opened open_folder(uid_t user) {
    const std::string path = std::string(place_user_folders) + "/" + std::to_string(user);
    Opened folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    return folder.isOpen() && is_private(folder.number(), user, S_IFDIR) ? std::move(folder) : Opened(-1);
}

bool smb_credentials_write(const std::string &user, const std::string &domain, const char *password) {
    const std::string_view secret = password;
    if (user.empty() || secret.empty() || !is_name(user) || !is_name(domain) ||
        secret.size() > Secret::usual_capacity || secret.find('\n') != secret.npos)
        return false;
    const Opened folder = open_folder(geteuid());
    const std::string temporary = std::string(".") + file_name + "-" + std::to_string(getpid());
    unlinkat(folder.number(), temporary.c_str(), 0);
    const Opened file(openat(folder.number(), temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                             S_IRUSR | S_IWUSR));
    const std::string names = user + "\n" + domain + "\n";
    // No copy of the password is made on the way.
    const bool written = file.isOpen() && write_all(file.number(), names) && write_all(file.number(), secret) &&
                         write_all(file.number(), "\n") &&
                         renameat(folder.number(), temporary.c_str(), folder.number(), file_name) == 0;
    if (!written) unlinkat(folder.number(), temporary.c_str(), 0);
    return written;
}

bool smb_credentials_remove() {
    const Opened folder = open_folder(geteuid());
    return !folder.isOpen() || unlinkat(folder.number(), file_name, 0) == 0 || errno == ENOENT;
}

// Takes a line off the text.
static std::optional<std::string_view> take_line(std::string_view *text) {
    const size_t end = text->find('\n');
    if (end == text->npos) return std::nullopt;
    const std::string_view line = text->substr(0, end);
    text->remove_prefix(end + 1);
    return line;
}

static std::optional<SmbCredentials> credentials_in(std::string_view text) {
    const std::optional<std::string_view> user = take_line(&text);
    const std::optional<std::string_view> domain = take_line(&text);
    const std::optional<std::string_view> password = take_line(&text);
    if (!password || !text.empty() || user->empty() || !is_name(*user) || !is_name(*domain) || password->empty() ||
        password->size() > Secret::usual_capacity || password->find('\0') != password->npos)
        return std::nullopt;
    SmbCredentials found{std::string(*user), std::string(*domain), Secret(), ""};
    memcpy(found.password.text(), password->data(), password->size());
    return found;
}

std::optional<SmbCredentials> smb_credentials_read(uid_t user) {
    const Opened folder = open_folder(user);
    const Opened file(openat(folder.number(), file_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (!folder.isOpen() || !file.isOpen() || !is_private(file.number(), user, S_IFREG)) return std::nullopt;
    Secret text(file_limit);
    size_t length = 0;
    ssize_t got = 0;
    while (length <= file_limit &&
           (got = TEMP_FAILURE_RETRY(read(file.number(), text.text() + length, file_limit + 1 - length))) > 0)
        length += static_cast<size_t>(got);
    if (got < 0 || length > file_limit) return std::nullopt;
    std::optional<SmbCredentials> found = credentials_in(std::string_view(text.text(), length));
    if (found) found->version = version_of(file.number());
    return found;
}
