#include "tools/qrtscript/plan/confine.h"

#include <fcntl.h>
#include <seccomp.h>
#include <unistd.h>

#include <cerrno>
#include <initializer_list>
#include <memory>

namespace {

struct FilterRelease {
    void operator()(void *filter) const { seccomp_release(filter); }
};
using Filter = std::unique_ptr<void, FilterRelease>;

} // namespace

static constexpr uint32_t refused = SCMP_ACT_ERRNO(EPERM);

// Calls that this machine's kernel, or its processor's table, does not have cannot be made.
static bool refuse_always(const Filter &filter) {
    static constexpr int calls[] = {
        SCMP_SYS(execve),      SCMP_SYS(execveat),     SCMP_SYS(creat),        SCMP_SYS(symlink),
        SCMP_SYS(symlinkat),   SCMP_SYS(link),         SCMP_SYS(linkat),       SCMP_SYS(unlink),
        SCMP_SYS(unlinkat),    SCMP_SYS(rename),       SCMP_SYS(renameat),     SCMP_SYS(renameat2),
        SCMP_SYS(mkdir),       SCMP_SYS(mkdirat),      SCMP_SYS(rmdir),        SCMP_SYS(mknod),
        SCMP_SYS(mknodat),     SCMP_SYS(chmod),        SCMP_SYS(fchmod),       SCMP_SYS(fchmodat),
        SCMP_SYS(chown),       SCMP_SYS(lchown),       SCMP_SYS(fchown),       SCMP_SYS(fchownat),
        SCMP_SYS(truncate),    SCMP_SYS(setxattr),     SCMP_SYS(lsetxattr),    SCMP_SYS(fsetxattr),
        SCMP_SYS(utime),       SCMP_SYS(utimes),       SCMP_SYS(utimensat),    SCMP_SYS(futimesat),
        SCMP_SYS(mount),       SCMP_SYS(umount2),      SCMP_SYS(ptrace),       SCMP_SYS(openat2),
        SCMP_SYS(removexattr), SCMP_SYS(lremovexattr), SCMP_SYS(fremovexattr), SCMP_SYS(process_vm_writev),
    };
    for (const int call : calls)
        if (seccomp_rule_add(filter.get(), refused, call, 0) != 0) return false;
    return true;
}

static bool refuse_writing(const Filter &filter) {
    for (const scmp_datum_t flag : {O_WRONLY, O_RDWR, O_CREAT, O_TRUNC}) {
        const scmp_arg_cmp ofOpen = SCMP_A1(SCMP_CMP_MASKED_EQ, flag, flag);
        const scmp_arg_cmp ofOpenat = SCMP_A2(SCMP_CMP_MASKED_EQ, flag, flag);
        if (seccomp_rule_add(filter.get(), refused, SCMP_SYS(open), 1, ofOpen) != 0 ||
            seccomp_rule_add(filter.get(), refused, SCMP_SYS(openat), 1, ofOpenat) != 0)
            return false;
    }
    return true;
}

// The library goes on for ever when it finds no memory for the program that the kernel runs.
static bool load(const Filter &filter) {
    constexpr unsigned long_enough = 10; // in seconds
    alarm(long_enough);
    const bool isLoaded = seccomp_load(filter.get()) == 0;
    alarm(0);
    return isLoaded;
}

bool confine_process() {
    const Filter filter(seccomp_init(SCMP_ACT_ALLOW));
    return filter != nullptr && refuse_always(filter) && refuse_writing(filter) && load(filter);
}
