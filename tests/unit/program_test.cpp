#include "commands/program.h"

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <thread>

#include "base/output.h"
#include "tests/unit/session_fixture.h"

namespace {

class ProgramTest : public SessionTest {
  protected:
    ProgramTest() {
        folder_.script("arguments", "for a in \"$@\"; do printf '[%s]' \"$a\"; done");
        folder_.script("leave", "exit $1");
        folder_.script("killed", "kill -9 $$");
        folder_.script("hold", "read line < " + path("gate") + "; echo released");
        folder_.script("complain", "echo trouble >&2");
        folder_.script("listen", "read line; echo \"heard $line\"");
    }
    std::string path(const std::string &name) const { return folder_.path(name); }

    // "hold" runs until the gate is opened.
    void close_gate() { ASSERT_EQ(mkfifo(path("gate").c_str(), 0600), 0); }
    void open_gate() { std::ofstream(path("gate")) << "go\n"; }

    // Waits until some child has ended, and leaves it to be reaped.
    static void await_an_end() {
        siginfo_t info;
        ASSERT_EQ(waitid(P_ALL, 0, &info, WEXITED | WNOWAIT), 0);
    }
    static bool has_children() { return waitpid(-1, nullptr, WNOHANG) >= 0 || errno != ECHILD; }
    std::string run(const std::string &line) {
        execute_command(line.c_str());
        return output();
    }
};

// A copy would take a time that grows with the caller's memory.
TEST_F(ProgramTest, MakesNoCopyOfTheCaller) {
    static bool isCopied = false;
    ASSERT_EQ(pthread_atfork([] { isCopied = true; }, nullptr, nullptr), 0);
    EXPECT_EQ(run("arguments a"), "[a]");
    EXPECT_FALSE(isCopied);
}

TEST_F(ProgramTest, TheCallerIsAskedBeforeAndInTheNewProcess) {
    static int before = 0;
    qrt_before_program = [] { ++before; };
    qrt_in_program = [] {
        const rlimit none = {0, 0};
        setrlimit(RLIMIT_CORE, &none);
    };
    folder_.script("limit", "ulimit -c");
    EXPECT_EQ(run("limit"), "0\n");
    execute_command_nowait("limit");
    EXPECT_EQ(before, 2);
    execute_command(" ");
    EXPECT_EQ(before, 2) << "no program";
    rlimit own = {};
    EXPECT_EQ(getrlimit(RLIMIT_CORE, &own), 0);
    EXPECT_NE(own.rlim_max, 0u) << "the caller keeps its limit";
}

TEST_F(ProgramTest, ReturnsTheExitStatusAndZeroForWhatHasNone) {
    const std::pair<const char *, int> rows[] = {
        {"leave 0", 0}, {"leave 3", 3}, {"leave 255", 255}, {"killed", 0}, {"no_such_program_here a b", 0},
        {"", 0},        {"   ", 0}};
    testing::internal::CaptureStderr();
    for (const auto &[line, status] : rows) EXPECT_EQ(execute_command(line), status) << line;
    chmod(path("leave").c_str(), 0644);
    EXPECT_EQ(execute_command("leave 3"), 0) << "it cannot be executed";
    EXPECT_EQ(execute_command_nowait("   "), 0);
    EXPECT_FALSE(has_children());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(output(), "");
}

TEST_F(ProgramTest, PassesItsWordsAsArgumentsWithoutAShell) {
    fputs("before ", fdr);
    fflush(fdr);
    EXPECT_EQ(run("arguments a b"), "before [a][b]");
    EXPECT_EQ(run("arguments $HOME * ; | 'x"), "[$HOME][*][;][|]['x]");
    EXPECT_EQ(run("arguments \"two words\" last"), "[\"two words\"][last]");
    EXPECT_EQ(run("arguments \"two words\" a_b"), "[\"two words\"][a_b]");
    EXPECT_EQ(run("arguments \"two words\" a_~b"), "[\"two words\"][a_~b]");
    const char line[] = "arguments \\\"two words\\\"";
    const std::string before = line;
    EXPECT_EQ(run(line), "[\"two][words\"]");
    EXPECT_EQ(line, before);
    folder_.script("name", "echo $0");
    EXPECT_EQ(run("  name a"), path("name") + "\n") << "its name is its first argument";
    setenv("PATH", "/nowhere", 1);
    EXPECT_EQ(run(path("arguments") + " a"), "[a]") << "it is named by its path";
}

TEST_F(ProgramTest, RunsNinetyNineWordsAndRefusesOneMore) {
    std::string line = "arguments";
    std::string expected;
    for (int word = 2; word <= 99; ++word) {
        line += " w";
        expected += "[w]";
    }
    EXPECT_EQ(execute_command(line.c_str()), 0);
    EXPECT_EQ(output(), expected);
    EXPECT_EQ(execute_command((line + " w").c_str()), 1);
    EXPECT_EQ(execute_command_nowait((line + " w").c_str()), 0);
    EXPECT_EQ(output(), "");
    EXPECT_FALSE(has_children());
}

TEST_F(ProgramTest, InheritsStandardInputAndError) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "hello\n", 6), 6);
    const int input = dup(STDIN_FILENO);
    dup2(ends[0], STDIN_FILENO);
    EXPECT_EQ(run("listen"), "heard hello\n");
    if (input >= 0) {
        dup2(input, STDIN_FILENO);
        close(input);
    } else {
        close(STDIN_FILENO);
    }
    close(ends[0]);
    close(ends[1]);
    testing::internal::CaptureStderr();
    EXPECT_EQ(run("complain"), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "trouble\n");
}

TEST_F(ProgramTest, WritesToAStreamThatIsDescriptorOne) {
    const int saved = dup(STDOUT_FILENO);
    fflush(stdout);
    dup2(fileno(stream_), STDOUT_FILENO);
    fcntl(STDOUT_FILENO, F_SETFD, FD_CLOEXEC);
    fdr = stdout;
    EXPECT_EQ(run("arguments x"), "[x]");
    dup2(saved, STDOUT_FILENO);
    close(saved);
}

// The set of signals that `field` of the program's status names, as a bit mask.
unsigned long signals_in(const std::string &field) {
    const size_t colon = field.find(':');
    return colon == std::string::npos ? ~0UL : strtoul(field.c_str() + colon + 1, nullptr, 16);
}

// Under nohup from the start, hangups stay ignored.
const bool under_nohup = [] {
    struct sigaction now = {};
    return sigaction(SIGHUP, nullptr, &now) == 0 && now.sa_handler == SIG_IGN;
}();

TEST_F(ProgramTest, LeavesTheCallersSignalMaskAlone) {
    sigset_t blocked, before, after;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR2);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    EXPECT_EQ(signals_in(run("grep SigBlk /proc/self/status")), 0UL);
    pthread_sigmask(SIG_SETMASK, &before, &after);
    EXPECT_EQ(sigismember(&after, SIGUSR2), 1);
    EXPECT_EQ(sigismember(&after, SIGTERM), 0);
}

TEST_F(ProgramTest, StartsWithNoSignalIgnored) {
    struct sigaction hangup = {};
    sigaction(SIGHUP, nullptr, &hangup);
    std::vector<int> ignored;
    for (int number = 1; number < NSIG; ++number) {
        if (number != SIGCHLD && signal(number, SIG_IGN) != SIG_ERR) ignored.push_back(number);
    }
    ASSERT_GT(ignored.size(), 50u);
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const std::string seen = run("grep -E Sig(Blk|Ign) /proc/self/status");
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    for (const int number : ignored) EXPECT_EQ(signal(number, SIG_DFL), SIG_IGN) << number;
    sigaction(SIGHUP, &hangup, nullptr);
    const std::string none = ":\t000000000000000";
    EXPECT_EQ(seen, "SigBlk" + none + "0\nSigIgn" + none + (under_nohup ? "1\n" : "0\n"));
}

TEST_F(ProgramTest, InheritsDescriptors0To2AndNoOther) {
    folder_.script("look", "ls /proc/$$/fd");
    for (const int number : {3, 17, 100, 900}) ASSERT_EQ(dup2(fileno(fdr), number), number);
    // The shell keeps its script open; its number and nothing else comes on top.
    EXPECT_EQ(run("look"), "0\n1\n10\n2\n");
    EXPECT_EQ(fcntl(17, F_GETFD), 0) << "the caller keeps its own";
    for (const int number : {3, 17, 100, 900}) close(number);
}

// A pipe in the place of the stream, whose other end a thread reads.
class PipedProgramTest : public ProgramTest {
  protected:
    PipedProgramTest() {
        EXPECT_EQ(pipe2(ends_, O_CLOEXEC), 0);
        before_ = fdr;
        fdr = fdopen(ends_[1], "w");
    }
    ~PipedProgramTest() override {
        fclose(fdr);
        fdr = before_;
        if (ends_[0] >= 0) close(ends_[0]);
    }
    void reader_goes_away() {
        close(ends_[0]);
        ends_[0] = -1;
    }
    bool is_full() const {
        int waiting = 0;
        return ioctl(ends_[0], FIONREAD, &waiting) == 0 && waiting >= fcntl(ends_[0], F_GETPIPE_SZ) - 4096;
    }
    int ends_[2] = {-1, -1};
    FILE *before_ = nullptr;
};

TEST_F(PipedProgramTest, TenMegabytesReachASlowReaderWhole) {
    constexpr size_t size = 10 << 20;
    folder_.script("flood", "yes 0123456 | head -c 10485760; echo done");
    std::string got;
    std::thread reader([&] {
        while (!is_full()) sched_yield();
        char block[1000];
        while (got.size() < size + 5) {
            const ssize_t count = read(ends_[0], block, sizeof block);
            if (count <= 0) break;
            got.append(block, static_cast<size_t>(count));
        }
    });
    EXPECT_EQ(execute_command("flood"), 0);
    reader.join();
    std::string expected;
    while (expected.size() < size) expected += "0123456\n";
    EXPECT_TRUE(got == expected + "done\n") << got.size();
}

TEST_F(PipedProgramTest, AReaderThatGoesAwayEndsTheProgramAndNotTheCaller) {
    folder_.script("count", "yes & wait $!; echo $? >" + path("status"));
    std::thread reader([&] {
        while (!is_full()) sched_yield();
        reader_goes_away();
    });
    EXPECT_EQ(execute_command("count"), 0);
    reader.join();
    std::string status;
    std::ifstream(path("status")) >> status;
    EXPECT_EQ(status, std::to_string(128 + SIGPIPE));
    say("nobody reads this\n");
    output_put(std::string(1 << 20, 'x'));
}

TEST_F(PipedProgramTest, TheCallersOwnPipeSignalStays) {
    reader_goes_away();
    say("nobody reads this\n");
    sigset_t hold;
    sigset_t before;
    sigset_t pending;
    sigemptyset(&hold);
    sigaddset(&hold, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &hold, &before);
    EXPECT_EQ(sigismember(&before, SIGPIPE), 0);
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0) << "what the library raised is gone";
    say("nor this\n");
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0) << "with the signal blocked it is gone as well";
    raise(SIGPIPE);
    say("nobody reads this either\n");
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 1);
    const timespec at_once = {};
    EXPECT_EQ(sigtimedwait(&hold, nullptr, &at_once), SIGPIPE);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

int gate_descriptor = -1;
void open_gate_in_handler(int) {
    if (write(gate_descriptor, "go\n", 3) != 3) _exit(99);
}

TEST_F(ProgramTest, ASignalDoesNotEndTheWait) {
    close_gate();
    gate_descriptor = open(path("gate").c_str(), O_RDWR | O_CLOEXEC);
    struct sigaction action = {};
    action.sa_handler = open_gate_in_handler;
    sigaction(SIGUSR1, &action, nullptr);
    folder_.script("interrupt", "kill -USR1 $PPID; read line < " + path("gate") + "; exit 5");
    EXPECT_EQ(execute_command("interrupt"), 5);
    signal(SIGUSR1, SIG_DFL);
    close(gate_descriptor);
}

TEST_F(ProgramTest, ACallerThatIgnoresItsChildrenGetsZero) {
    signal(SIGCHLD, SIG_IGN);
    close_gate();
    EXPECT_EQ(execute_command_nowait("hold"), 0);
    EXPECT_EQ(execute_command("leave 3"), 0) << "and the wait is not for the other child";
    EXPECT_EQ(signals_in(run("grep SigIgn /proc/self/status")) & (1UL << (SIGCHLD - 1)), 0UL);
    open_gate();
    EXPECT_EQ(waitpid(-1, nullptr, 0), -1);
    program_reap();
    signal(SIGCHLD, SIG_DFL);
    EXPECT_EQ(output(), "released\n");
}

TEST_F(ProgramTest, DoesNotWaitAndReapsWithoutWaiting) {
    close_gate();
    EXPECT_EQ(execute_command_nowait("hold"), 0);
    EXPECT_EQ(output(), "");
    program_reap();
    EXPECT_TRUE(has_children()) << "it still runs";
    open_gate();
    await_an_end();
    EXPECT_EQ(output(), "released\n");
    program_reap();
    EXPECT_FALSE(has_children());
}

TEST_F(ProgramTest, AWaitReapsTheOthersThatHaveEndedAndIgnoresThem) {
    execute_command_nowait("leave 7");
    await_an_end();
    EXPECT_EQ(execute_command("leave 3"), 3);
    EXPECT_FALSE(has_children());
    program_reap();
    if (fork() == 0) _exit(4);
    await_an_end();
    EXPECT_EQ(execute_command("leave 3"), 3);
    EXPECT_FALSE(has_children());
    EXPECT_EQ(execute_command_nowait("leave 3"), 0);
    await_an_end();
    program_reap();
    EXPECT_FALSE(has_children());
}

TEST_F(ProgramTest, ReapsOnlyItsOwnAtTheEnd) {
    const pid_t own = fork();
    if (own == 0) _exit(4);
    await_an_end();
    program_reap();
    int status = 0;
    EXPECT_EQ(waitpid(own, &status, WNOHANG), own);
    EXPECT_EQ(WEXITSTATUS(status), 4);
}

// Nobody but root may pass the limit of processes.
void lose_the_right_to_fork() {
    if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0) _exit(98);
    rlimit limit;
    getrlimit(RLIMIT_NPROC, &limit);
    limit.rlim_cur = 0;
    setrlimit(RLIMIT_NPROC, &limit);
    // The checks that a build may make at exit need the right back.
    atexit([] {
        rlimit raised;
        getrlimit(RLIMIT_NPROC, &raised);
        raised.rlim_cur = raised.rlim_max;
        setrlimit(RLIMIT_NPROC, &raised);
    });
}

TEST_F(ProgramTest, AFailedForkEndsTheProcess) {
    for (auto *run_line : {execute_command, execute_command_nowait}) {
        EXPECT_EXIT(
            {
                lose_the_right_to_fork();
                run_line("leave 0");
                _exit(97);
            },
            ExitedWithCode(1), "^Error forking child process \n$");
    }
}

TEST_F(ProgramTest, StatementsReplaceIdentifiersAndIgnoreTheExitStatus) {
    setenv("PROGRAM_TEST", "value", 1);
    program_statement(text(" arguments a %<PROGRAM_TEST>"));
    EXPECT_EQ(output(), "[a][value]");
    program_nowait_statement(text(" arguments b %<PROGRAM_TEST>"));
    await_an_end();
    program_reap();
    EXPECT_EQ(output(), "[b][value]");
    syntax_error = 0;
    program_statement(text("leave 3"));
    EXPECT_EQ(syntax_error, 0);
    program_statement(text("arguments on %ERROR_LEVEL"));
    EXPECT_EQ(output(), "[on][0]");
}

TEST_F(ProgramTest, SkippedStatementsRunNothing) {
    skip();
    execute(program_statement, text("arguments a"));
    execute(program_nowait_statement, text("arguments b"));
    EXPECT_FALSE(has_children());
    EXPECT_EQ(output(), "");
}

TEST_F(ProgramTest, TracesTheRawLineFromLevelSix) {
    const auto both = [] {
        program_statement(text(" %<PROGRAM_TEST_NONE> "));
        program_nowait_statement(text(" %<PROGRAM_TEST_UNSET> "));
    };
    EXPECT_THAT(traces(6, both), AllOf(HasSubstr(" %<PROGRAM_TEST_NONE> "), HasSubstr(" %<PROGRAM_TEST_UNSET> ")));
    EXPECT_THAT(traces(5, both), Not(HasSubstr("%<PROGRAM_TEST")));
}

} // namespace
