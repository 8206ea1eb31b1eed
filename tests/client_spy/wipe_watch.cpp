#include "tests/client_spy/wipe_watch.h"

#include <cstddef>
#include <deque>
#include <new>

namespace {

// What is in it never moves, so that no copy of a secret is freed while a test looks at what is freed.
std::deque<std::string> &record() {
    static std::deque<std::string> texts;
    return texts;
}

} // namespace

void wipe_watch::forget() {
    record().clear();
}

std::vector<std::string> wipe_watch::wiped() {
    return {record().begin(), record().end()};
}

extern "C" {

void explicit_bzero(void *data, size_t size) noexcept {
    auto *bytes = static_cast<char *>(data);
    size_t length = size;
    while (length > 0 && bytes[length - 1] == '\0') --length;
    try {
        if (length > 0) record().emplace_back(bytes, length);
    } catch (const std::bad_alloc &) {
        // A test has memory run out: what is wiped then is wiped all the same.
    }
    for (size_t at = 0; at < size; ++at) static_cast<volatile char *>(data)[at] = '\0';
}

// What fortified builds call.
void __explicit_bzero_chk(void *data, size_t size, size_t) noexcept {
    explicit_bzero(data, size);
}
}
