// In a build with coverage counters, which only a normal end of the process writes out: the interrupt handler and a
// child whose program cannot be started end by _exit, every other child with its program.
#ifdef QRT_COVERAGE
#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

extern "C" void __gcov_dump();
extern "C" void __gcov_reset();

extern "C" int execvp(const char *file, char *const *arguments) {
    __gcov_dump();
    __gcov_reset();
    return reinterpret_cast<int (*)(const char *, char *const *)>(dlsym(RTLD_NEXT, "execvp"))(file, arguments);
}

extern "C" [[noreturn]] void _exit(int status) {
    // A test may have taken the process its descriptors.
    rlimit files;
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
    __gcov_dump();
    for (;;) syscall(SYS_exit_group, status);
}
#endif
