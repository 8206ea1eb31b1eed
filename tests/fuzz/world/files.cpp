#include "tests/fuzz/world/files.h"

#include <sys/stat.h>
#include <sys/types.h>

#include <algorithm>
#include <cerrno>
#include <climits>

#include "tests/fuzz/fuzz.h"

std::optional<std::string_view> (*files_content)(const char *path) = nullptr;

static constexpr int first_descriptor = 1000;
static constexpr int most_files = 16;
static constexpr size_t sink_size = 4096;

struct OpenFile {
    bool open;
    std::string_view left;
};
static OpenFile files[most_files];
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
int fuzz_open(const char *path, int flags, ...);
int fuzz_close(int descriptor);
int fuzz_fstat(int descriptor, struct stat *status);
ssize_t fuzz_read(int descriptor, void *data, size_t size);
FILE *fuzz_fopen(const char *path, const char *mode);
char *fuzz_realpath(const char *path, char *resolved);
}

int fuzz_open(const char *path, int, ...) {
    const auto content = files_content(path);
    if (!content) {
        errno = ENOENT;
        return -1;
    }
    auto *file = std::find_if(files, files + most_files, [](const OpenFile &one) { return !one.open; });
    FUZZ_CHECK(file != files + most_files);
    *file = {true, *content};
    return first_descriptor + static_cast<int>(file - files);
}

int fuzz_close(int descriptor) {
    // Sockets are not among the files.
    if (descriptor >= first_descriptor) file_of(descriptor)->open = false;
    return 0;
}

int fuzz_fstat(int descriptor, struct stat *status) {
    if (descriptor < 0) return -1;
    *status = {};
    status->st_mode = S_IFREG;
    status->st_size = static_cast<off_t>(file_of(descriptor)->left.size());
    return 0;
}

ssize_t fuzz_read(int descriptor, void *data, size_t size) {
    OpenFile *file = file_of(descriptor);
    const size_t count = std::min(size, file->left.size());
    if (count > 0) memcpy(data, file->left.data(), count);
    file->left.remove_prefix(count);
    return static_cast<ssize_t>(count);
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
