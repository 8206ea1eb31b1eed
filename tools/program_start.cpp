#include "tools/program_start.h"

#include <fcntl.h>
#include <sys/auxv.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstring>

bool standard_descriptors_fill() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) >= 0) continue;
        // The lowest free number is this one: those below it are open.
        if (open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) != descriptor) return false;
    }
    return true;
}

bool program_may_start(const char *program) {
    if (!standard_descriptors_fill()) {
        fprintf(stderr, "%s: cannot open /dev/null: %s\n", program, strerror(errno));
        return false;
    }
    // Set-user-ID, set-group-ID, file capabilities, and whatever else the kernel counts as other rights.
    if (getauxval(AT_SECURE) == 0) return true;
    fprintf(stderr, "%s: does not run with the rights of another user or group, or with capabilities of its own\n",
            program);
    return false;
}
