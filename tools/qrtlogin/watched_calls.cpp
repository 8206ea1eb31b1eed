// Calls of the library that leave it, looked at on their way (run_watch.h): the dynamic linker takes the functions of
// the program before those of its libraries.
#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <exception>

#include "platform/zk.h"
#include "tools/qrtlogin/run_watch.h"

// The library takes no exception: without memory there is nothing to be seen.
template <typename Look>
static void look(Look seen) noexcept {
    try {
        if (run_watch() != nullptr) seen(run_watch());
    } catch (const std::exception &) {
        // There is nothing to be done about it.
    }
}

template <typename Function>
static Function next(const char *name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

extern "C" {
__attribute__((visibility("default"))) pid_t waitpid(pid_t which, int *status, int options) {
    int ended = 0;
    const pid_t program = wait4(which, &ended, options, nullptr);
    if (status != nullptr && program > 0) *status = ended;
    const int error = errno;
    if (program > 0) look([&](RunWatch *watch) { watch->ended(program, ended); });
    errno = error;
    return program;
}

__attribute__((visibility("default"))) int execvp(const char *file, char *const *arguments) {
    run_watch_executes(file);
    execvpe(file, arguments, environ);
    run_watch_not_executed(errno);
    return -1;
}
}

__attribute__((visibility("default"))) uint32_t ZKDSOpenStream(uint32_t context, const char *object,
                                                               const char *attribute, uint32_t flags, uint32_t *file) {
    static const auto real = next<decltype(&ZKDSOpenStream)>("ZKDSOpenStream");
    const uint32_t code = real(context, object, attribute, flags, file);
    if (code == ZK_OK) look([&](RunWatch *watch) { watch->opened(context, object, *file); });
    return code;
}

__attribute__((visibility("default"))) uint32_t ZKReadFile(uint32_t file, uint32_t count, uint32_t *got, void *data) {
    static const auto real = next<decltype(&ZKReadFile)>("ZKReadFile");
    const uint32_t code = real(file, count, got, data);
    if (code == ZK_OK) look([&](RunWatch *watch) { watch->read(file, {static_cast<char *>(data), *got}); });
    return code;
}
