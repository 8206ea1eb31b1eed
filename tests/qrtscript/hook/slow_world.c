/* Loaded into a program in front of the C library: what takes long, at once. SLOW_WORLD says what:
 *     clock  each look at the monotonic clock is half a minute later than the one before
 *     file   a file named "stuck" is never opened, and nobody waits for another process for long */
#define _GNU_SOURCE
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

static int is_slow(const char *what) {
    const char *slow = getenv("SLOW_WORLD");
    return slow != NULL && strcmp(slow, what) == 0;
}

static int slow_clock, slow_file; /* the scripts' environment is another */

__attribute__((constructor)) static void begin(void) {
    slow_clock = is_slow("clock");
    slow_file = is_slow("file");
}

int clock_gettime(clockid_t clock, struct timespec *now) {
    static time_t later;
    const int result = (int)syscall(SYS_clock_gettime, clock, now);
    if (slow_clock && clock == CLOCK_MONOTONIC) now->tv_sec += later += 30;
    return result;
}

int poll(struct pollfd *files, nfds_t count, int milliseconds) {
    const int soon = 300;
    const struct timespec wait = {0, soon * 1000000L};
    const struct timespec asked = {milliseconds / 1000, milliseconds % 1000 * 1000000L};
    const int isShort = milliseconds >= 0 && !(slow_file && milliseconds > soon);
    return (int)syscall(SYS_ppoll, files, count,
                        milliseconds < 0 && !slow_file ? NULL
                        : isShort                      ? &asked
                                                       : &wait,
                        NULL, 0);
}

int open(const char *path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    const char *name = strrchr(path, '/');
    while (slow_file && name != NULL && strcmp(name, "/stuck") == 0) pause();
    return openat(AT_FDCWD, path, flags, mode);
}
