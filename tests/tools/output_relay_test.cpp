// What the relay does to the process whose scripts it serves.
#include "tools/qrtlogin/output_relay.h"

#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "include/qrtscript.h"
#include "platform/treelogin.h"
#include "tests/support/own_process.h"
#include "tools/qrtlogin/failure.h"

namespace {

using testing::AnyOf;

// The library's beginning and end around a run, as they are in a login.
void begin(OutputRelay *relay) {
    ASSERT_EQ(qrt_init(nullptr, nullptr), 0);
    relay->begin();
}
int end(OutputRelay *relay) {
    qrt_exit();
    return relay->end();
}

// How a relay cannot be made, or nothing.
std::string failure() {
    try {
        const OutputRelay relay;
    } catch (const Failure &failure) {
        EXPECT_EQ(failure.status(), exit_system);
        return failure.what();
    }
    return "";
}

// A pair of descriptors, closed in the end.
struct Pair {
    int ends[2] = {-1, -1};
    Pair() = default;
    Pair(const Pair &) = delete;
    Pair &operator=(const Pair &) = delete;
    ~Pair() {
        for (const int one : ends) close(one);
    }
};

} // namespace

TEST(OutputRelay, KnowsTheSameFileUnderTwoDescriptors) {
    const TempFolder folder;
    for (const char *name : {"a", "b"}) folder.write(name, "");
    const auto opened = [&folder](const char *name) { return open(folder.path(name).c_str(), O_RDONLY | O_CLOEXEC); };
    Pair same, other;
    same.ends[0] = opened("a");
    same.ends[1] = opened("a");
    other.ends[0] = opened("b");
    other.ends[1] = open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_TRUE(output_is_same_file(same.ends[0], same.ends[1]));
    for (const int different : other.ends) {
        EXPECT_FALSE(output_is_same_file(same.ends[0], different));
        EXPECT_FALSE(output_is_same_file(different, same.ends[0]));
    }
    EXPECT_FALSE(output_is_same_file(same.ends[0], -1));
    EXPECT_FALSE(output_is_same_file(-1, same.ends[0]));
    EXPECT_FALSE(output_is_same_file(-1, -1));
}

// The first inode of two file systems has the same number.
TEST(OutputRelay, FilesOfTwoDevicesAreTwo) {
    Pair roots;
    roots.ends[0] = open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    roots.ends[1] = open("/sys", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    EXPECT_FALSE(output_is_same_file(roots.ends[0], roots.ends[1]));
}

TEST(OutputRelay, KnowsATerminalUnderItsTwoNames) {
    in_own_process([] {
        Pair tty, pty;
        tty.ends[0] = open("/dev/tty", O_RDWR | O_CLOEXEC);
        ASSERT_EQ(openpty(&pty.ends[0], &pty.ends[1], nullptr, nullptr, nullptr), 0);
        EXPECT_TRUE(output_is_same_file(STDOUT_FILENO, tty.ends[0]));
        EXPECT_TRUE(output_is_same_file(tty.ends[0], STDOUT_FILENO));
        EXPECT_FALSE(output_is_same_file(pty.ends[1], tty.ends[0]));
        EXPECT_FALSE(output_is_same_file(tty.ends[0], pty.ends[1]));
        tty.ends[1] = open("/dev/null", O_RDWR | O_CLOEXEC);
        EXPECT_FALSE(output_is_same_file(tty.ends[0], tty.ends[1]));
        EXPECT_FALSE(output_is_same_file(tty.ends[1], tty.ends[0]));
    });
}

// A program reports why its run failed on its own standard error, at once.
TEST(OutputRelay, ARunThatFailsGivesTheStandardDescriptorsBack) {
    in_own_process([] {
        Pair pipe_to_reader;
        ASSERT_EQ(pipe2(pipe_to_reader.ends, O_CLOEXEC), 0);
        ASSERT_EQ(dup2(pipe_to_reader.ends[1], STDOUT_FILENO), STDOUT_FILENO);
        ASSERT_EQ(dup2(pipe_to_reader.ends[1], STDERR_FILENO), STDERR_FILENO);
        {
            OutputRelay relay;
            begin(&relay);
            dprintf(STDOUT_FILENO, "of the run, ");
        }
        dprintf(STDERR_FILENO, "of the program");
        char text[100] = "";
        EXPECT_GT(read(pipe_to_reader.ends[0], text, sizeof text - 1), 0);
        EXPECT_STREQ(text, "of the run, \nof the program");
    });
}

TEST(OutputRelay, LeavesEverythingAsItWas) {
    in_own_process([] {
        for (const int flags : {0, FD_CLOEXEC}) {
            for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO}) fcntl(descriptor, F_SETFD, flags);
            const long before = open_descriptors();
            {
                OutputRelay relay;
                begin(&relay);
                EXPECT_NE(auxbefore_prompt, nullptr);
                EXPECT_EQ(end(&relay), 0);
                EXPECT_EQ(open_descriptors(), before + 2) << "the copies of the standard descriptors";
            }
            EXPECT_EQ(open_descriptors(), before);
            for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO}) {
                EXPECT_EQ(fcntl(descriptor, F_GETFD), flags);
                EXPECT_NE(isatty(descriptor), 0);
            }
            EXPECT_EQ(auxbefore_prompt, nullptr);
            EXPECT_EQ(fdr, nullptr);
            EXPECT_EQ(signal(SIGINT, SIG_DFL), SIG_DFL);
        }
    });
}

TEST(OutputRelay, OfNoRunLeavesNothingOpen) {
    in_own_process([] {
        const long before = open_descriptors();
        { const OutputRelay relay; }
        EXPECT_EQ(open_descriptors(), before);
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "its process is nobody's child";
    });
}

// Their numbers are others' by then.
TEST(OutputRelay, ClosesNoDescriptorTwice) {
    in_own_process([] {
        std::vector<int> later;
        {
            OutputRelay relay;
            begin(&relay);
            EXPECT_EQ(end(&relay), 0);
            for (int i = 0; i < 16; ++i) later.push_back(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3));
        }
        for (const int descriptor : later) EXPECT_GE(fcntl(descriptor, F_GETFD), 0) << descriptor;
    });
}

TEST(OutputRelay, ProgramsGetNoDescriptorOfIt) {
    in_own_process([] {
        close_range(STDERR_FILENO + 1, ~0U, 0);
        OutputRelay relay;
        begin(&relay);
        for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            const int descriptor = std::stoi(entry.path().filename());
            EXPECT_EQ((fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0, descriptor > STDERR_FILENO) << descriptor;
        }
        EXPECT_EQ(end(&relay), 0);
    });
}

TEST(OutputRelay, ShowsWhatWasWrittenAndEndsItsLine) {
    TerminalProcess process([] {
        OutputRelay relay;
        begin(&relay);
        printf("stream ");
        fflush(stdout);
        fprintf(stderr, "errors ");
        OutputRelay::catchUp();
        printf("at the end");
        if (end(&relay) != 0) return 1;
        printf("behind\n");
        return 42;
    });
    EXPECT_EQ(process.finish(), 42);
    EXPECT_THAT(process.shown(), testing::EndsWith("stream errors at the end\r\nbehind\r\n"));
}

TEST(OutputRelay, ErrorsThatGoElsewhereStayThere) {
    in_own_process([] {
        const TempFolder folder;
        folder.write("errors", "");
        const int errors = dup(STDERR_FILENO);
        const int file = open(folder.path("errors").c_str(), O_WRONLY | O_CLOEXEC);
        dup2(file, STDERR_FILENO);
        OutputRelay relay;
        begin(&relay);
        fprintf(stderr, "error\n");
        EXPECT_EQ(file_text(folder.path("errors")), "error\n");
        EXPECT_EQ(end(&relay), 0);
        dup2(errors, STDERR_FILENO);
    });
}

TEST(OutputRelay, ReturnsWhyItCouldNotShow) {
    in_own_process([] {
        const int output = dup(STDOUT_FILENO);
        dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
        {
            OutputRelay relay;
            begin(&relay);
            if (write(STDOUT_FILENO, "text\n", 5) != 5) abort();
            EXPECT_EQ(end(&relay), ENOSPC);
        }
        dup2(output, STDOUT_FILENO);
    });
}

// Two copies, a pipe and a pair of sockets, one after the other.
TEST(OutputRelay, CannotBeMadeWithoutDescriptors) {
    for (unsigned more = 0; more < 7; ++more) {
        in_own_process([more] {
            allow_descriptors(more);
            EXPECT_EQ(failure(), more < 6 ? "cannot show the scripts' output: Too many open files" : "") << more;
        });
    }
}

// The first process that is needed, or the second.
TEST(OutputRelay, CannotBeMadeWithoutProcesses) {
    for (const rlim_t processes : {1, 2}) {
        in_own_process([processes] {
            if (!allow_processes(processes)) return;
            EXPECT_EQ(failure(), "cannot show the scripts' output: Resource temporarily unavailable");
        });
    }
}

// The library ends the process itself where it cannot start a program.
TEST(OutputRelay, WhatWasWrittenIsShownHoweverTheProcessEnds) {
    TerminalProcess process([]() -> int {
        static OutputRelay relay;
        begin(&relay);
        const std::string text(60000, 'x');
        if (write(STDOUT_FILENO, text.data(), text.size()) != static_cast<ssize_t>(text.size())) return 1;
        exit(42);
    });
    EXPECT_EQ(process.finish(), 42);
    EXPECT_THAT(process.shown(), testing::EndsWith(std::string(60000, 'x') + "\r\n"));
}

TEST(OutputRelay, ACopyOfTheProcessEndsWithoutIt) {
    in_own_process([] {
        static OutputRelay relay;
        begin(&relay);
        const pid_t copy = fork();
        if (copy == 0) exit(42);
        int status = 0;
        EXPECT_EQ(waitpid(copy, &status, 0), copy);
        EXPECT_EQ(WEXITSTATUS(status), 42);
        OutputRelay::catchUp();
        EXPECT_EQ(end(&relay), 0) << "which would be an answer to the copy";
    });
}

TEST(OutputRelay, AnInterruptEndsTheProcessOnlyAfterBreakOn) {
    const struct {
        bool breaks;
        const char *password; // null: no tree shares it
    } rows[] = {{false, "secret"}, {true, "secret"}, {true, nullptr}};
    for (const auto &row : rows) {
        TerminalProcess process([&row] {
            OutputRelay relay;
            begin(&relay);
            CurrentPassword = row.password != nullptr ? strdup(row.password) : nullptr;
            bcntrlc = row.breaks ? 1 : 0;
            printf("before\n");
            fflush(stdout);
            raise(SIGINT);
            printf("after\n");
            const bool kept = strcmp(CurrentPassword, "secret") == 0;
            free(CurrentPassword);
            CurrentPassword = nullptr;
            return end(&relay) == 0 && kept ? 42 : 43;
        });
        EXPECT_EQ(process.finish(), row.breaks ? 0 : 42);
        EXPECT_THAT(process.shown(), testing::EndsWith(row.breaks ? "before\r\nctrl-c pressed, script aborted\r\n"
                                                                  : "before\r\nafter\r\n"));
    }
}

TEST(OutputRelay, AnInterruptBehindTheScriptsEndsNothing) {
    TerminalProcess process([] {
        OutputRelay relay;
        begin(&relay);
        bcntrlc = 1;
        qrt_exit();
        raise(SIGINT);
        printf("goes on\n");
        return relay.end() == 0 ? 42 : 43;
    });
    EXPECT_EQ(process.finish(), 42);
    EXPECT_EQ(process.shown(), "goes on\r\n");
}
