// The whole of a text to a descriptor, however many calls that takes.
#ifndef PLATFORM_COMMON_WRITE_ALL_H
#define PLATFORM_COMMON_WRITE_ALL_H

#include <poll.h>
#include <unistd.h>
#include <cerrno>
#include <string_view>

// False with errno.
inline bool write_all(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<size_t>(written));
        } else if (errno == EAGAIN) {
            // Whoever shares the terminal or the pipe may have made it non-blocking.
            pollfd room = {descriptor, POLLOUT, 0};
            poll(&room, 1, -1);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

#endif
