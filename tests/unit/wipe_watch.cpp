#include "tests/unit/wipe_watch.h"

#include <cstddef>
#include <deque>

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

void explicit_bzero(void *data, size_t size);
void __explicit_bzero_chk(void *data, size_t size, size_t room);

void explicit_bzero(void *data, size_t size) {
    auto *bytes = static_cast<volatile char *>(data);
    std::string text;
    for (size_t at = 0; at < size; ++at) {
        text += bytes[at];
        bytes[at] = '\0';
    }
    text.resize(text.find_last_not_of('\0') + 1);
    if (!text.empty()) record().push_back(text);
}

// What fortified builds call.
void __explicit_bzero_chk(void *data, size_t size, size_t) {
    explicit_bzero(data, size);
}
}
