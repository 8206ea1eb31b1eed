// Takes a variable out of the environment for a while: the C library reads some of them again with each call, and loads
// files that they name, when a script may have set them.
#ifndef PLATFORM_ENVIRONMENT_GUARD_H
#define PLATFORM_ENVIRONMENT_GUARD_H

#include <unistd.h>
#include <cstdlib>
#include <cstring>

// The entry of the environment that sets `name`, or null.
inline char *environment_entry(const char *name) {
    const size_t length = strlen(name);
    for (char **entry = environ; entry != nullptr && *entry != nullptr; ++entry)
        if (strncmp(*entry, name, length) == 0 && (*entry)[length] == '=') return *entry;
    return nullptr;
}

// While it lives, `name` is not set if its value is one that `is_refused`. The entry itself is put back, so that
// nothing has to be allocated. Not for use beside another thread that reads the environment.
class EnvironmentGuard {
  public:
    EnvironmentGuard(const char *name, bool (*isRefused)(const char *value)) {
        char *entry = environment_entry(name);
        if (entry == nullptr || !isRefused(strchr(entry, '=') + 1)) return;
        entry_ = entry;
        unsetenv(name);
    }
    ~EnvironmentGuard() {
        if (entry_ != nullptr) putenv(entry_);
    }
    EnvironmentGuard(const EnvironmentGuard &) = delete;
    EnvironmentGuard &operator=(const EnvironmentGuard &) = delete;

  private:
    char *entry_ = nullptr;
};

#endif
