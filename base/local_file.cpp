#include "base/local_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>

// Reads up to `size` bytes and returns how many came.
static size_t read_up_to(int file, char *data, size_t size) {
    size_t got = 0;
    while (got < size) {
        const ssize_t count = TEMP_FAILURE_RETRY(read(file, data + got, size - got));
        if (count <= 0) break;
        got += static_cast<size_t>(count);
    }
    return got;
}

static OwnedText read_open_file(int file, size_t &length) {
    struct stat status;
    if (fstat(file, &status) != 0 || status.st_size >= INT32_MAX) return nullptr;
    // The size of a pipe says nothing: its text would be lost without a word.
    if (!S_ISREG(status.st_mode) && !S_ISCHR(status.st_mode)) return nullptr;
    const size_t size = S_ISREG(status.st_mode) ? static_cast<size_t>(status.st_size) : 0;
    OwnedText text(static_cast<char *>(calloc(size + 1, 1)));
    if (text) length = read_up_to(file, text.get(), size);
    return text;
}

OwnedText local_file_read(const char *path, size_t &length) {
    length = 0;
    const int file = open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (file < 0) return nullptr;
    OwnedText text = read_open_file(file, length);
    close(file);
    return text;
}
