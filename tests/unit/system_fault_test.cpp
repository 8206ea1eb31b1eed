// Calls of the system that fail or are interrupted. The test program's own definitions stand in for the system's and
// pass on what no test makes fail.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/utsname.h>

#include <cerrno>
#include <csignal>

#include "base/local_file.h"
#include "base/output.h"
#include "commands/program.h"
#include "run/lifecycle.h"
#include "tests/unit/session_fixture.h"

namespace {

bool uname_fails = false;
bool close_range_fails = false;
std::string mode_that_fails; // of fopen

template <typename Function>
Function *real(const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" int uname(struct utsname *names) {
    if (uname_fails) return -1;
    return real<int(struct utsname *)>("uname")(names);
}
extern "C" int close_range(unsigned first, unsigned last, int flags) noexcept {
    if (close_range_fails) {
        errno = ENOSYS;
        return -1;
    }
    return real<int(unsigned, unsigned, int)>("close_range")(first, last, flags);
}
extern "C" FILE *fopen(const char *path, const char *mode) {
    if (!mode_that_fails.empty() && mode_that_fails == mode) return nullptr;
    return real<FILE *(const char *, const char *)>("fopen")(path, mode);
}

namespace {

class SystemFaultTest : public SessionTest {
  protected:
    ~SystemFaultTest() override {
        uname_fails = close_range_fails = false;
        mode_that_fails.clear();
    }
    static std::string value(const char *name) {
        char *text = nullptr;
        const uint32_t code = qrt_GetIdentifierValue(handle, "jdoe.acme", name, &text);
        return code == 0 ? taken(text) : "(none)";
    }
};

TEST_F(SystemFaultTest, WithoutUnameTheMachineIsEmpty) {
    uname_fails = true;
    for (const char *name : {"MACHINE", "SMACHINE", "OS_VERSION", "PLATFORM"}) EXPECT_EQ(value(name), "") << name;
}

TEST_F(SystemFaultTest, WithoutASocketTheAddressesAreZeros) {
    rlimit usual;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &usual), 0);
    rlimit none = usual;
    none.rlim_cur = 0;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const std::string hardware = value("P_STATION"), address = value("NETWORK_ADDRESS");
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &usual), 0);
    EXPECT_EQ(hardware, "000000000000");
    EXPECT_EQ(address, "00000000");
}

TEST_F(SystemFaultTest, AKernelWithoutTheCallHasEachDescriptorClosed) {
    folder_.script("count", "ls /proc/self/fd | wc -l");
    const auto counted = [this] {
        EXPECT_EQ(execute_command("count"), 0);
        return output();
    };
    const int kept = open("/dev/null", O_RDONLY);
    const std::string usual = counted();
    close_range_fails = true;
    EXPECT_EQ(counted(), usual);
    close(kept);
}

// The second mode is tried after the first.
TEST_F(SystemFaultTest, ALogThatCannotBeAppendedToIsWrittenAnew) {
    const std::string log = folder_.path("parse.log");
    place_conf_log = log.c_str();
    folder_.file("parse.log", "old\n");
    bLogFileOutput = 1;
    mode_that_fails = "a";
    openLogFile();
    mode_that_fails.clear();
    ASSERT_NE(fpLogFileOutput, nullptr);
    EXPECT_EQ(bLogFileOutput, 1);
    fputs("new\n", fpLogFileOutput);
    fclose(fpLogFileOutput);
    fpLogFileOutput = nullptr;
    EXPECT_EQ(taken(qrt_readLoginScriptFromFile(log.c_str())), "new\n");
}

// The handler brings the line that the reader waits for.
int pipe_of_the_handler = -1;

TEST_F(SystemFaultTest, AnInterruptedReadGoesOn) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    fd[0] = ends[0];
    pipe_of_the_handler = ends[1];
    struct sigaction bring = {}, before;
    bring.sa_handler = [](int) {
        if (write(pipe_of_the_handler, "line\n", 5) != 5) _exit(1);
    };
    sigaction(SIGALRM, &bring, &before);
    const itimerval soon = {{0, 0}, {0, 20000}};
    setitimer(ITIMER_REAL, &soon, nullptr);
    char *line = nullptr;
    EXPECT_EQ(qrt_ReadResults(&line), 0);
    EXPECT_EQ(taken(line), "line");
    sigaction(SIGALRM, &before, nullptr);
    close(ends[0]);
    close(ends[1]);
}

// What a caller has blocked and not yet looked at is not taken away by a write of the library that fails.
TEST_F(SystemFaultTest, ASignalThatTheCallerBlocksStaysPending) {
    sigset_t pipe, before, pending;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, &before);
    say("with none pending\n");
    raise(SIGPIPE);
    FILE *const full = fopen("/dev/full", "w");
    fdr = full;
    say("lost\n");
    fdr = stream_;
    fclose(full);
    ASSERT_EQ(sigpending(&pending), 0);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 1);
    const timespec at_once = {};
    EXPECT_EQ(sigtimedwait(&pipe, nullptr, &at_once), SIGPIPE);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST_F(SystemFaultTest, AFileOfTwoGigabytesIsNotRead) {
    const std::string path = folder_.path("huge");
    folder_.file("huge", "");
    ASSERT_EQ(truncate(path.c_str(), off_t{INT32_MAX}), 0);
    size_t length = 99;
    EXPECT_EQ(local_file_read(path.c_str(), length), nullptr);
    EXPECT_EQ(length, 0U);
}

// The kernel reports one page for such a file and has fewer bytes in it.
TEST_F(SystemFaultTest, AFileThatIsShorterThanReportedIsReadUpToItsEnd) {
    size_t length = 0;
    const OwnedText mtu = local_file_read("/sys/class/net/lo/mtu", length);
    if (!mtu) GTEST_SKIP() << "no such file here";
    EXPECT_EQ(length, strlen(mtu.get()));
    EXPECT_GT(atoi(mtu.get()), 0);
}

} // namespace
