#include "tests/fuzz/world/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <climits>

#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/world/network.h"

std::optional<std::string_view> (*files_content)(const char *path) = nullptr;
bool files_have_folders = false;
std::optional<std::string_view> (*files_link)(const char *path) = nullptr;
void (*files_written)(const char *path, std::string_view text) = nullptr;
bool (*files_remove)(const char *path) = nullptr;

static constexpr int first_descriptor = 1000;
static constexpr int most_files = 16;
static constexpr size_t sink_size = 4096;

struct OpenFile {
    bool open;
    std::string_view left; // of a file; where a link leads
    mode_t mode;
    std::string path;    // of a folder, and of a file that is written
    std::string written; // what has been written to it
};
static OpenFile files[most_files];
static std::string last_path, last_written; // of the file that was written and closed last
static char sink[sink_size];
static size_t sink_used;

static OpenFile *file_of(int descriptor) {
    const int index = descriptor - first_descriptor;
    FUZZ_CHECK(index >= 0 && index < most_files && files[index].open);
    return &files[index];
}

void files_check_closed() {
    for (const OpenFile &file : files) FUZZ_CHECK(!file.open);
}

// ---- the calls of the C library that the code under test makes ----

extern "C" {
static int open_as(mode_t mode, std::string_view content, const std::string &path) {
    auto *file = std::find_if(files, files + most_files, [](const OpenFile &one) { return !one.open; });
    FUZZ_CHECK(file != files + most_files);
    file->open = true;
    file->left = content;
    file->mode = mode;
    file->path = path;
    return first_descriptor + static_cast<int>(file - files);
}

static int absent(int error) {
    errno = error;
    return -1;
}

static int open_path(const std::string &path, int flags) {
    if (flags & O_DIRECTORY) return files_have_folders ? open_as(S_IFDIR | S_IRWXU, {}, path) : absent(ENOENT);
    if (flags & O_CREAT) return files_written ? open_as(S_IFREG | S_IRUSR | S_IWUSR, {}, path) : absent(EACCES);
    const bool asLink = (flags & O_PATH) && (flags & O_NOFOLLOW) && files_link;
    const auto content = asLink ? files_link(path.c_str()) : files_content(path.c_str());
    return content ? open_as((asLink ? S_IFLNK : S_IFREG) | S_IRUSR | S_IWUSR, *content, "") : absent(ENOENT);
}

static std::string path_in(int folder, const char *name) {
    const std::string &path = file_of(folder)->path;
    return path + (path == "/" ? "" : "/") + name;
}

int fuzz_open(const char *path, int flags, ...) {
    return open_path(path, flags);
}

int fuzz_openat(int folder, const char *name, int flags, ...) {
    return open_path(path_in(folder, name), flags);
}

// What a fortified build calls when it cannot see that no file is made.
int fuzz_openat_2(int folder, const char *name, int flags) {
    return fuzz_openat(folder, name, flags);
}

int fuzz_close(int descriptor) {
    // A socket that was not connected; the real ones are closed by libldap.
    if (descriptor < first_descriptor) return network_close(descriptor);
    OpenFile *file = file_of(descriptor);
    if (!file->written.empty()) {
        last_path.swap(file->path);
        last_written.swap(file->written);
        file->written.clear();
    }
    file->open = false;
    return 0;
}

int fuzz_fstat(int descriptor, struct stat *status) {
    if (descriptor < 0) return -1;
    const OpenFile *file = file_of(descriptor);
    *status = {};
    status->st_mode = file->mode;
    status->st_uid = geteuid();
    status->st_size = static_cast<off_t>(file->left.size());
    return 0;
}

ssize_t fuzz_read(int descriptor, void *data, size_t size) {
    OpenFile *file = file_of(descriptor);
    const size_t count = std::min(size, file->left.size());
    if (count > 0) memcpy(data, file->left.data(), count);
    file->left.remove_prefix(count);
    return static_cast<ssize_t>(count);
}

ssize_t fuzz_write(int descriptor, const void *data, size_t size) {
    file_of(descriptor)->written.append(static_cast<const char *>(data), size);
    return static_cast<ssize_t>(size);
}

ssize_t fuzz_readlinkat(int descriptor, const char *, char *target, size_t size) {
    return static_cast<ssize_t>(file_of(descriptor)->left.copy(target, size));
}

// Only what has just been written is given another name.
// No target needs more of these than that they fail; those of links have their own (links.cpp).
__attribute__((weak)) int fuzz_fstatat(int, const char *, struct stat *, int) {
    return absent(ENOENT);
}

__attribute__((weak)) int fuzz_renameat2(int, const char *, int, const char *, unsigned) {
    return absent(ENOENT);
}

int fuzz_renameat(int fromFolder, const char *from, int toFolder, const char *to) {
    FUZZ_CHECK(path_in(fromFolder, from) == last_path);
    files_written(path_in(toFolder, to).c_str(), last_written);
    return 0;
}

int fuzz_unlinkat(int folder, const char *name, int) {
    return files_remove && files_remove(path_in(folder, name).c_str()) ? 0 : absent(ENOENT);
}

// All folders are there.
int fuzz_mkdirat(int, const char *, mode_t) {
    return absent(EEXIST);
}

FILE *fuzz_fopen(const char *path, const char *) {
    const auto content = files_content(path);
    if (!content) return nullptr;
    static char empty[] = "";
    void *text = content->empty() ? empty : const_cast<char *>(content->data());
    return fmemopen(text, std::max<size_t>(content->size(), 1), "r");
}

// There are no symbolic links.
char *fuzz_realpath(const char *path, char *) {
    if (!files_content(path)) {
        errno = ENOENT;
        return nullptr;
    }
    return strdup(path);
}

} // extern "C"

// ---- the sink ----

static ssize_t sink_write(void *, const char *data, size_t size) {
    const size_t kept = std::min(size, sink_size - sink_used);
    memcpy(sink + sink_used, data, kept);
    sink_used += kept;
    return static_cast<ssize_t>(size);
}

FILE *files_sink() {
    static char buffer[BUFSIZ];
    cookie_io_functions_t functions = {};
    functions.write = sink_write;
    FILE *stream = fopencookie(nullptr, "w", functions);
    FUZZ_CHECK(stream);
    setvbuf(stream, buffer, _IOFBF, sizeof buffer);
    return stream;
}

std::string_view files_sink_text() {
    return {sink, sink_used};
}

void files_sink_clear() {
    sink_used = 0;
}
