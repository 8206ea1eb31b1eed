#include "platform/client/core/descriptor.h"

#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <utility>

Descriptor::~Descriptor() {
    close(number); // which does nothing where there is none
}

int Descriptor::release() {
    return std::exchange(number, -1);
}

static constexpr size_t part_size = size_t{1} << 20;

bool descriptor_read(const Descriptor &file, std::string *text, std::atomic<size_t> *parts) {
    size_t length = 0;
    ssize_t got = 1;
    while (length < text->size() && got > 0) {
        // In user space, as with FUSE, a signal interrupts the reading of a file too.
        const size_t wanted = std::min(text->size() - length, part_size);
        got = TEMP_FAILURE_RETRY(read(file.number, &(*text)[length], wanted));
        length += got > 0 ? static_cast<size_t>(got) : 0;
        if (parts != nullptr) ++*parts;
    }
    text->resize(length);
    return got >= 0;
}

bool descriptor_is_for_all(const Descriptor &file) {
    constexpr mode_t forAll = S_IRGRP | S_IROTH;
    struct stat found = {};
    return fstat(file.number, &found) == 0 && (found.st_mode & forAll) == forAll;
}
