#include "tools/qrtlogin/memory_limit.h"

#include <sys/wait.h>

#include "tests/support/own_process.h"

namespace {

constexpr rlim_t gibibyte = rlim_t{1} << 30;

rlim_t limit_now() {
    rlimit limit = {};
    EXPECT_EQ(getrlimit(RLIMIT_DATA, &limit), 0);
    return limit.rlim_cur;
}

void set_limit(rlim_t bytes) {
    rlimit limit = {};
    EXPECT_EQ(getrlimit(RLIMIT_DATA, &limit), 0);
    limit.rlim_cur = bytes;
    EXPECT_EQ(setrlimit(RLIMIT_DATA, &limit), 0);
}

// As the system shows it, in kB.
rlim_t data_now() {
    const std::string status = file_text("/proc/self/status");
    const auto kilobytes = [&status](const char *name) {
        return static_cast<rlim_t>(std::stoul(status.substr(status.find(name) + std::string(name).size())));
    };
    return (kilobytes("\nVmData:") + kilobytes("\nVmStk:")) * 1024;
}

// What a process that becomes a program has for its limit.
bool program_has(rlim_t expected) {
    const pid_t child = fork();
    if (child == 0) {
        memory_limit_put_back();
        _exit(limit_now() == expected ? 42 : 43);
    }
    int status = 0;
    return waitpid(child, &status, 0) == child && WEXITSTATUS(status) == 42;
}

} // namespace

TEST(MemoryLimit, IsAGibibyteMoreThanTheProcessHasForAsLongAsItLives) {
    in_own_process([] {
        set_limit(RLIM_INFINITY);
        for (int time = 0; time < 2; ++time) {
            const long descriptors = open_descriptors();
            const rlim_t data = data_now();
            {
                const MemoryLimit limit;
                EXPECT_GE(limit_now(), gibibyte + data - (rlim_t{1} << 20));
                EXPECT_LE(limit_now(), gibibyte + data + (rlim_t{1} << 20));
                EXPECT_EQ(open_descriptors(), descriptors);
            }
            EXPECT_EQ(limit_now(), RLIM_INFINITY);
        }
    });
}

TEST(MemoryLimit, IsNotThatOfAProgram) {
    in_own_process([] {
        set_limit(RLIM_INFINITY);
        { const MemoryLimit limit; }
        set_limit(gibibyte << 20);
        EXPECT_TRUE(program_has(gibibyte << 20)) << "started after the limit's end";
        const MemoryLimit limit;
        EXPECT_TRUE(program_has(gibibyte << 20));
        EXPECT_LT(limit_now(), gibibyte << 20);
    });
}

TEST(MemoryLimit, IsAnEarlierOneIfThatIsLower) {
    in_own_process([] {
        const rlim_t lower = gibibyte / 2;
        set_limit(lower);
        {
            const MemoryLimit limit;
            EXPECT_EQ(limit_now(), lower);
        }
        EXPECT_EQ(limit_now(), lower);
    });
}

TEST(MemoryLimit, IsNoneWhereTheSystemDoesNotShowWhatTheProcessHas) {
    in_own_process([] {
        set_limit(RLIM_INFINITY);
        allow_descriptors(0);
        const MemoryLimit limit;
        EXPECT_EQ(limit_now(), RLIM_INFINITY);
    });
}
