#include "platform/client/core/start_environment.h"

#include <iconv.h>
#include <unistd.h>
#include <memory>
#include <string>
#include <vector>

namespace {

struct Kept {
    std::vector<std::string> entries;
    std::vector<char *> pointers; // null-terminated, as environ

    Kept() {
        for (char **entry = environ; entry != nullptr && *entry != nullptr; entry++) entries.emplace_back(*entry);
        for (std::string &entry : entries) pointers.push_back(entry.data());
        pointers.push_back(nullptr);
    }
};

} // namespace

// Never freed: a look-up that did not end in time may read it to the end of the process.
static const Kept *kept = nullptr;

// The first conversion of a process settles where the C library looks for further ones. This one needs no file.
static void settle_conversions() {
    iconv_t conversion = iconv_open("UTF-8", "WCHAR_T");
    if (conversion != reinterpret_cast<iconv_t>(-1)) iconv_close(conversion);
}

void start_environment_keep() {
    if (kept == nullptr) {
        kept = std::make_unique<Kept>().release();
        settle_conversions();
    }
}

// The list is exchanged as a whole: nothing has to be allocated to put it back.
StartEnvironment::StartEnvironment() {
    start_environment_keep();
    setSince_ = environ;
    environ = const_cast<char **>(kept->pointers.data());
}

StartEnvironment::~StartEnvironment() {
    environ = setSince_;
}
