// In a build with coverage counters, which only a normal end of the process writes out: the interrupt handler and a
// child whose program cannot be started end by _exit. The latter is in the caller's memory, with the caller's counters.
#ifdef QRT_COVERAGE
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

extern "C" void __gcov_dump();
extern "C" void __gcov_reset();

extern "C" [[noreturn]] void _exit(int status) {
    // A test may have taken the process its descriptors.
    rlimit files;
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
    __gcov_dump();
    __gcov_reset();
    for (;;) syscall(SYS_exit_group, status);
}
#endif
