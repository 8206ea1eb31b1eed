// For tests of what becomes of a program's standard descriptors.
#ifndef STANDARD_STREAMS_H
#define STANDARD_STREAMS_H

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

// Opens standard input anew after a session has closed it.
inline void keep_standard_input() {
    const int null = open("/dev/null", O_RDWR);
    if (null > 0) {
        dup2(null, 0);
        close(null);
    }
}

// From here on the process can open nothing beyond its standard descriptors, and cannot write to its input, whose
// number stands for both ends of a pipe that could not be made.
inline void allow_standard_descriptors_only() {
    const int input = open("/dev/null", O_RDONLY);
    dup2(input, 0);
    close(input);
    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = 3;
    setrlimit(RLIMIT_NOFILE, &limit);
}

#endif
