#include "platform/client/core/descriptor.h"

#include <unistd.h>
#include <cerrno>
#include <utility>

Descriptor::~Descriptor() {
    close(number); // which does nothing where there is none
}

int Descriptor::release() {
    return std::exchange(number, -1);
}

bool descriptor_read(const Descriptor &file, std::string *text) {
    size_t length = 0;
    ssize_t got = 1;
    while (length < text->size() && got > 0) {
        // In user space, as with FUSE, a signal interrupts the reading of a file too.
        got = TEMP_FAILURE_RETRY(read(file.number, &(*text)[length], text->size() - length));
        length += got > 0 ? static_cast<size_t>(got) : 0;
    }
    text->resize(length);
    return got >= 0;
}
