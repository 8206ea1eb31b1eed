#include "tools/qrtlogin/environment_size.h"

#include <unistd.h>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "platform/catalogue.h"
#include "platform/terminal_text.h"
#include "tools/qrtlogin/failure.h"

// The kernel's limits: 32 pages for one string with its NUL, 6 MiB or a quarter of the stack for all.
static size_t longest_string() {
    return size_t{32} * static_cast<size_t>(sysconf(_SC_PAGESIZE)) - 1;
}

static size_t longest_environment() {
    return std::min(size_t{6} << 20, static_cast<size_t>(sysconf(_SC_ARG_MAX)));
}

// A name is the script's choice.
static std::string shown_name(const char *entry) {
    return terminal_text({entry, std::min(strcspn(entry, "="), size_t{100})});
}

static void warn(const std::string &text) {
    const std::string line = std::string(failure_program) + ": " + text + "\n";
    fputs(line.c_str(), stderr);
}

static void check(bool *warned) {
    const char *longest = "";
    size_t length = 0, all = 0;
    for (char **entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const size_t one = strlen(*entry);
        all += one + 1 + sizeof *entry;
        if (one <= length) continue;
        length = one;
        longest = *entry;
    }
    *warned = length > longest_string() || all > longest_environment();
    if (length > longest_string()) {
        warn(
            catalogue_format("warning: no program can be started: the variable %1$s is too long (%2$zu bytes with its "
                             "name, the limit is %3$zu)",
                             shown_name(longest).c_str(), length, longest_string()));
    } else if (*warned) {
        warn(
            catalogue_format("warning: no program can be started: the environment is too large (%1$zu bytes, the limit "
                             "is %2$zu); its longest variable is %3$s",
                             all, longest_environment(), shown_name(longest).c_str()));
    }
}

void environment_size_check() noexcept {
    static bool warned = false;
    if (warned) return;
    try {
        check(&warned);
    } catch (const std::exception &) {
        // Without memory there is no warning.
    }
}
