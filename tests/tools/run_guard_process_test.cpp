// What the guard does to the process that it guards, without a login around it.
#include <pthread.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <cerrno>
#include <csignal>

#include "include/exported.h"
#include "include/qrtscript.h"
#include "platform/treelogin.h"
#include "tests/support/own_process.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtlogin/output_relay.h"
#include "tools/qrtlogin/run_guard.h"

namespace {

using testing::EndsWith;

int former_interrupts, questions_begun, questions_ended;

void former_interrupt(int) {
    ++former_interrupts;
    errno = EDOM;
}
void former_before() {
    ++questions_begun;
}
void former_after() {
    ++questions_ended;
}

void *handler_of(int signal) {
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    return reinterpret_cast<void *>(action.sa_handler);
}

// A relay and a password, as a guard needs them, in a process of its own.
void guarded(const std::function<void(Secret *)> &body) {
    in_own_process([&] {
        OutputRelay relay;
        ASSERT_EQ(qrt_init(nullptr, nullptr), 0);
        relay.begin();
        Secret password;
        body(&password);
        qrt_exit();
        EXPECT_EQ(relay.end(), 0);
    });
}

// How the process ends that a guard ends, and what it shows.
Outcome ended(const std::function<void(Secret *)> &body) {
    TerminalProcess process([&] {
        OutputRelay relay;
        if (qrt_init(nullptr, nullptr) != 0) return 1;
        relay.begin();
        Secret password;
        body(&password);
        return 2;
    });
    Outcome outcome;
    outcome.status = process.finish();
    outcome.out = process.shown();
    return outcome;
}

// The guard's.
pid_t other_thread() {
    for (const auto &task : std::filesystem::directory_iterator("/proc/self/task"))
        if (task.path().filename() != std::to_string(getpid())) return std::stoi(task.path().filename());
    return 0;
}

// The set of signals in a line of the status of a thread.
bool has_signal(pid_t thread, const std::string &line, int signal) {
    const std::string status = file_text("/proc/self/task/" + std::to_string(thread) + "/status");
    const std::string set = status.substr(status.find(line + ":\t") + line.size() + 2, 16);
    return (std::stoull(set, nullptr, 16) >> (signal - 1) & 1) != 0;
}

bool waits_for_this_thread(int signal) {
    return has_signal(getpid(), "SigPnd", signal);
}

std::string failure(Secret *password) {
    try {
        const RunGuard guard(std::nullopt, password);
    } catch (const Failure &failure) {
        EXPECT_EQ(failure.status(), exit_system);
        return failure.what();
    }
    return "";
}

} // namespace

TEST(RunGuardProcess, EverythingIsAsItWasAfterwards) {
    guarded([](Secret *password) {
        signal(SIGINT, former_interrupt);
        signal(SIGRTMAX, former_interrupt);
        auxbefore_prompt = former_before;
        auxafter_prompt = former_after;
        const long before = open_descriptors();
        sigset_t mask_before, mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask_before);
        {
            const RunGuard guard(std::nullopt, password);
            EXPECT_GT(open_descriptors(), before);
            EXPECT_NE(handler_of(SIGINT), reinterpret_cast<void *>(former_interrupt));
            EXPECT_NE(handler_of(SIGRTMAX), reinterpret_cast<void *>(former_interrupt));
            EXPECT_NE(auxbefore_prompt, former_before);
            EXPECT_NE(auxafter_prompt, former_after);
            pthread_sigmask(SIG_SETMASK, nullptr, &mask);
            EXPECT_EQ(sigismember(&mask, SIGINT), 0);
            EXPECT_EQ(sigismember(&mask, SIGTERM), 0);
        }
        EXPECT_EQ(open_descriptors(), before);
        EXPECT_EQ(handler_of(SIGINT), reinterpret_cast<void *>(former_interrupt));
        EXPECT_EQ(handler_of(SIGRTMAX), reinterpret_cast<void *>(former_interrupt));
        EXPECT_EQ(auxbefore_prompt, former_before);
        EXPECT_EQ(auxafter_prompt, former_after);
        EXPECT_EQ(other_thread(), 0);
        auxbefore_prompt = nullptr;
        auxafter_prompt = nullptr;
    });
}

TEST(RunGuardProcess, ItsThreadRestsWhileNothingHappens) {
    guarded([](Secret *password) {
        for (const std::optional<int> &seconds : {std::optional<int>(0), std::optional<int>(1000)}) {
            const RunGuard guard(seconds, password);
            EXPECT_TRUE(comes_to_rest(other_thread()));
            auxbefore_prompt();
            EXPECT_TRUE(comes_to_rest(other_thread()));
            auxafter_prompt();
            raise(SIGINT);
            EXPECT_TRUE(comes_to_rest(other_thread()));
        }
    });
}

// Only the thread of the scripts finds the signals that come.
TEST(RunGuardProcess, ItsThreadTakesNoSignal) {
    guarded([](Secret *password) {
        const RunGuard guard(std::nullopt, password);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGALRM, SIGCHLD, SIGRTMAX})
            EXPECT_TRUE(has_signal(other_thread(), "SigBlk", signal)) << signal;
    });
}

TEST(RunGuardProcess, AnInterruptReachesTheFormerHandlerAndLeavesErrnoAlone) {
    guarded([](Secret *password) {
        signal(SIGINT, former_interrupt);
        const RunGuard guard(std::nullopt, password);
        for (int times = 1; times <= 2; ++times) {
            errno = ERANGE;
            raise(SIGINT);
            EXPECT_EQ(errno, ERANGE);
            EXPECT_EQ(former_interrupts, times);
        }
    });
}

TEST(RunGuardProcess, WithoutAFormerHandlerAnInterruptIsCountedOnly) {
    for (const auto former : {SIG_DFL, SIG_IGN}) {
        guarded([former](Secret *password) {
            signal(SIGINT, former);
            const RunGuard guard(std::nullopt, password);
            raise(SIGINT);
            raise(SIGINT);
        });
    }
}

TEST(RunGuardProcess, QuestionsReachTheFormerHooks) {
    guarded([](Secret *password) {
        for (const bool hooked : {true, false}) {
            auxbefore_prompt = hooked ? former_before : nullptr;
            auxafter_prompt = hooked ? former_after : nullptr;
            const RunGuard guard(std::nullopt, password);
            auxbefore_prompt();
            EXPECT_EQ(questions_begun, 1);
            EXPECT_EQ(questions_ended, hooked ? 0 : 1);
            auxafter_prompt();
            EXPECT_EQ(questions_ended, 1);
        }
        auxbefore_prompt = nullptr;
        auxafter_prompt = nullptr;
    });
}

TEST(RunGuardProcess, TheThirdInterruptEndsItBehindTheOutput) {
    const Outcome outcome = ended([](Secret *password) {
        const RunGuard guard(std::nullopt, password);
        printf("open line");
        fflush(stdout);
        for (int times = 0; times < 3; ++times) raise(SIGINT);
        for (;;) pause();
    });
    EXPECT_EQ(outcome.status, exit_interrupted);
    EXPECT_THAT(outcome.out, EndsWith("open lineqrtlogin: the scripts were ended by the third interrupt\r\n"));
}

// As in a call that does not return: the guard counts them, and the thread of the scripts finds them when it goes on.
TEST(RunGuardProcess, InterruptsThatAreHeldUpAreCountedOnceAndComeLater) {
    guarded([](Secret *password) {
        signal(SIGINT, former_interrupt);
        const RunGuard guard(std::nullopt, password);
        sigset_t interrupt;
        sigemptyset(&interrupt);
        sigaddset(&interrupt, SIGINT);
        for (int times = 1; times <= 2; ++times) {
            pthread_sigmask(SIG_BLOCK, &interrupt, nullptr);
            kill(getpid(), SIGINT);
            for (int look = 0; look < 1000 && !waits_for_this_thread(SIGINT); ++look) usleep(10000);
            EXPECT_TRUE(waits_for_this_thread(SIGINT));
            EXPECT_EQ(former_interrupts, times - 1);
            pthread_sigmask(SIG_UNBLOCK, &interrupt, nullptr);
            EXPECT_EQ(former_interrupts, times);
        }
    });
}

// With a value as a program may send it along.
TEST(RunGuardProcess, InterruptsCountWhoeverSendsThem) {
    const Outcome outcome = ended([](Secret *password) {
        const RunGuard guard(std::nullopt, password);
        sigval value = {};
        value.sival_int = 7;
        for (int times = 0; times < 3; ++times) sigqueue(getpid(), SIGINT, value);
        for (;;) pause();
    });
    EXPECT_EQ(outcome.status, exit_interrupted);
}

// Not even a handler, which might end the process in another way.
TEST(RunGuardProcess, NothingGoesOnOnceItIsEnded) {
    constexpr size_t size = 2 * sizeof(long);
    void *shared = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(shared, MAP_FAILED);
    auto *count = static_cast<volatile long *>(shared);
    static volatile long *handled = nullptr;
    handled = count + 1;
    // Its child sees it rest before it is ended itself, with what the scripts have started.
    const Outcome outcome = ended([count](Secret *password) {
        signal(SIGINT, [](int) { *handled = *handled + 1; });
        const RunGuard guard(std::nullopt, password);
        const pid_t script = getpid();
        if (fork() == 0) {
            signal(SIGTERM, SIG_IGN);
            for (int times = 0; times < 3; ++times) {
                kill(script, SIGINT);
                while (times < 2 && *handled <= times) usleep(1000);
            }
            usleep(500000);
            const long before = *count, handled_before = *handled;
            kill(script, SIGINT);
            usleep(100000);
            *count = *count == before && *handled == handled_before ? -1 : -2;
            for (;;) pause();
        }
        while (*count >= 0) *count = *count + 1;
        for (;;) pause();
    });
    EXPECT_EQ(outcome.status, exit_interrupted);
    EXPECT_EQ(*count, -1);
    munmap(shared, size);
}

TEST(RunGuardProcess, TheTimeLimitEndsItBehindTheOutput) {
    const Outcome outcome = ended([](Secret *password) {
        const RunGuard guard(1, password);
        printf("before\n");
        fflush(stdout);
        for (;;) pause();
    });
    EXPECT_EQ(outcome.status, exit_time_limit);
    EXPECT_THAT(outcome.out,
                EndsWith("before\r\nqrtlogin: the scripts were ended at the time limit of 1 s (--time-limit)\r\n"));
}

// Such as one below a folder of PATH that does not answer: its start holds the thread of the scripts up.
TEST(RunGuardProcess, AProgramThatDoesNotStartPreventsNothing) {
    const Outcome outcome = ended([](Secret *password) {
        const RunGuard guard(1, password);
        qrt_in_program = [] {
            for (;;) pause();
        };
        execute_command("true");
    });
    EXPECT_EQ(outcome.status, exit_time_limit);
    EXPECT_THAT(outcome.out, EndsWith("(--time-limit)\r\n"));
}

// One that has not become its program yet has the handler and the guard's socket.
TEST(RunGuardProcess, InterruptsOfACopyOfTheProcessDoNotCount) {
    guarded([](Secret *password) {
        signal(SIGINT, former_interrupt);
        const RunGuard guard(std::nullopt, password);
        const pid_t copy = fork();
        if (copy == 0) {
            for (int times = 0; times < 9; ++times) raise(SIGINT);
            raise(SIGRTMAX);
            _exit(former_interrupts == 9 ? 42 : 43);
        }
        int status = 0;
        EXPECT_EQ(waitpid(copy, &status, 0), copy);
        EXPECT_EQ(WEXITSTATUS(status), 42);
        raise(SIGINT);
        EXPECT_EQ(former_interrupts, 1);
    });
}

// A pair of sockets and the way to the interrupts, one after the other; a terminal is done without.
TEST(RunGuardProcess, CannotBeWithoutDescriptors) {
    for (unsigned more = 0; more < 5; ++more) {
        guarded([more](Secret *password) {
            const rlimit limit = allow_descriptors(more);
            const std::string why = failure(password);
            setrlimit(RLIMIT_NOFILE, &limit);
            EXPECT_EQ(why, more < 3 ? "cannot watch over the scripts: Too many open files" : "") << more;
        });
    }
}

TEST(RunGuardProcess, CannotBeWithoutAThread) {
    guarded([](Secret *password) {
        signal(SIGINT, former_interrupt);
        const long before = open_descriptors();
        if (!allow_processes(1)) return;
        EXPECT_EQ(failure(password), "cannot watch over the scripts: Resource temporarily unavailable");
        EXPECT_EQ(open_descriptors(), before);
        EXPECT_EQ(handler_of(SIGINT), reinterpret_cast<void *>(former_interrupt));
        EXPECT_EQ(auxafter_prompt, nullptr);
    });
}
