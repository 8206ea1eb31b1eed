#include "tools/qrtlogin/relay_process.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <cerrno>
#include <csignal>
#include <set>

#include "tests/support/own_process.h"

namespace {

// The process beside a login, whose part the test plays.
class RelayProcess : public ::testing::Test {
  protected:
    RelayProcess() {
        int ends[2], pair[2], other[2];
        if (pipe2(ends, O_CLOEXEC) != 0 || pipe2(other, O_CLOEXEC) != 0 ||
            socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0)
            abort();
        input_ = ends[0];
        written_ = ends[1];
        shown_ = other[0];
        output_ = other[1];
        login_ = pair[0];
        requests_ = pair[1];
        for (const int pipe : {written_, output_}) fcntl(pipe, F_SETPIPE_SZ, 1 << 20);
    }
    ~RelayProcess() override {
        for (int *descriptor : {&input_, &written_, &shown_, &output_, &login_, &requests_}) closeOne(descriptor);
        if (relay_ <= 0) return;
        kill(relay_, SIGKILL);
        waitpid(relay_, nullptr, 0);
    }
    static void closeOne(int *descriptor) {
        if (*descriptor >= 0) close(*descriptor);
        *descriptor = -1;
    }
    void start() {
        relay_ = fork();
        if (relay_ == 0) {
            dup2(output_, STDOUT_FILENO);
            relay_process(input_, requests_);
        }
        for (int *descriptor : {&input_, &output_, &requests_}) closeOne(descriptor);
    }
    void writes(const std::string &text) const {
        ASSERT_EQ(write(written_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    int answer() const {
        int problem = -1;
        EXPECT_EQ(recv(login_, &problem, sizeof problem, MSG_WAITALL), ssize_t{sizeof problem});
        return problem;
    }
    int ask() const {
        EXPECT_EQ(send(login_, "?", 1, 0), 1);
        return answer();
    }
    int askToEnd() const {
        shutdown(login_, SHUT_WR);
        return answer();
    }
    // The next that it shows, so many bytes.
    std::string shows(size_t size) const {
        std::string text(size, '?');
        for (size_t at = 0; at < size;) {
            const ssize_t got = read(shown_, text.data() + at, size - at);
            if (got <= 0) return text.substr(0, at);
            at += static_cast<size_t>(got);
        }
        return text;
    }
    int waitsToBeRead() const {
        int there = -1;
        EXPECT_EQ(ioctl(shown_, FIONREAD, &there), 0);
        return there;
    }
    int end() {
        int status = -1;
        EXPECT_EQ(waitpid(relay_, &status, 0), relay_);
        relay_ = -1;
        return status;
    }
    // Ends it as a login does whose programs have ended too, and returns the rest of what it shows.
    std::string rest() {
        EXPECT_EQ(askToEnd(), 0);
        closeOne(&written_);
        EXPECT_EQ(end(), 0);
        return shows(1 << 20);
    }
    static std::string numbers(int count) {
        std::string text;
        for (int number = 0; number < count; ++number) text += std::to_string(number) + "\n";
        return text;
    }

    int input_ = -1, written_ = -1, shown_ = -1, output_ = -1, login_ = -1, requests_ = -1;
    pid_t relay_ = -1;
};

} // namespace

// Both wait for the process before it first looks; the text is more than it takes at once.
TEST_F(RelayProcess, WhatWasWrittenBeforeARequestIsShownBeforeTheAnswer) {
    const std::string text = numbers(40000);
    writes(text);
    ASSERT_EQ(send(login_, "?", 1, 0), 1);
    start();
    EXPECT_EQ(answer(), 0);
    EXPECT_EQ(waitsToBeRead(), static_cast<int>(text.size()));
    EXPECT_EQ(rest(), text);
}

// An interrupt may cut a question short before its answer.
TEST_F(RelayProcess, AnswersEachRequest) {
    ASSERT_EQ(send(login_, "??", 2, 0), 2);
    start();
    EXPECT_EQ(answer(), 0);
    EXPECT_EQ(answer(), 0);
    EXPECT_EQ(rest(), "");
}

TEST_F(RelayProcess, ShowsEachByteAsItComes) {
    start();
    for (const char *byte : {"a", "b", "\n"}) {
        writes(byte);
        EXPECT_EQ(shows(1), byte);
    }
    EXPECT_EQ(rest(), "");
}

TEST_F(RelayProcess, EndsALineThatIsOpenAtTheEndOnly) {
    start();
    writes("open");
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(waitsToBeRead(), 4);
    EXPECT_EQ(rest(), "open\n");
}

TEST_F(RelayProcess, EndsNoLineWhereNothingWasShown) {
    start();
    EXPECT_EQ(rest(), "");
}

TEST_F(RelayProcess, EndsNoLineBehindTheMarkOfTheEnd) {
    start();
    writes("line\n");
    EXPECT_EQ(ask(), 0);
    writes(std::string(3, '\0'));
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(rest(), "line\n");
}

TEST_F(RelayProcess, LetsZeroBytesPassWhenTheScriptsHaveEnded) {
    const std::string text("a\0b\n", 4);
    start();
    writes(text);
    EXPECT_EQ(askToEnd(), 0);
    EXPECT_EQ(shows(3), "ab\n");
    writes(text);
    EXPECT_EQ(shows(4), text);
}

TEST_F(RelayProcess, WhatCannotBeShownDelaysNothingUntilTheScriptsHaveEnded) {
    closeOne(&output_);
    output_ = open("/dev/full", O_WRONLY | O_CLOEXEC);
    start();
    for (int time = 0; time < 3; ++time) {
        writes("text");
        EXPECT_EQ(ask(), ENOSPC);
    }
    EXPECT_EQ(askToEnd(), ENOSPC);
    EXPECT_TRUE(comes_to_rest(relay_));
    writes("late");
    EXPECT_EQ(end(), 0);
}

TEST_F(RelayProcess, WaitsForRoomWhereTheOutputDoesNotBlock) {
    const std::string text = numbers(100000);
    fcntl(output_, F_SETPIPE_SZ, 1 << 16);
    fcntl(output_, F_SETFL, O_NONBLOCK);
    start();
    writes(text);
    EXPECT_TRUE(comes_to_rest(relay_));
    EXPECT_EQ(shows(text.size()), text);
    EXPECT_EQ(rest(), "");
}

TEST_F(RelayProcess, NoSignalEndsIt) {
    start();
    EXPECT_EQ(ask(), 0);
    for (const int signal :
         {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE, SIGALRM, SIGUSR1, SIGUSR2, SIGTSTP, SIGTTIN, SIGTTOU}) {
        kill(relay_, signal);
        writes("x");
        EXPECT_EQ(shows(1), "x") << signal;
    }
}

TEST_F(RelayProcess, KeepsNothingThatIsNotItsOwn) {
    start();
    EXPECT_EQ(ask(), 0);
    const std::string proc = "/proc/" + std::to_string(relay_);
    EXPECT_EQ(file_text(proc + "/comm"), "qrtlogin-output\n");
    EXPECT_EQ(std::filesystem::read_symlink(proc + "/cwd"), "/");
    std::set<std::string> open;
    for (const auto &entry : std::filesystem::directory_iterator(proc + "/fd")) open.insert(entry.path().filename());
    EXPECT_EQ(open, (std::set<std::string>{"0", "1", "2"}));
}

TEST_F(RelayProcess, RestsAndAnswersWhenEveryWriterHasEnded) {
    start();
    EXPECT_TRUE(comes_to_rest(relay_));
    writes("text");
    closeOne(&written_);
    EXPECT_EQ(shows(4), "text");
    EXPECT_TRUE(comes_to_rest(relay_));
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(askToEnd(), 0);
    EXPECT_EQ(end(), 0);
    EXPECT_EQ(shows(2), "\n");
}

TEST_F(RelayProcess, RestsAndShowsWhenTheLoginHasEnded) {
    start();
    EXPECT_EQ(askToEnd(), 0);
    closeOne(&login_);
    EXPECT_TRUE(comes_to_rest(relay_));
    writes("late");
    EXPECT_EQ(shows(4), "late");
    EXPECT_TRUE(comes_to_rest(relay_));
    closeOne(&written_);
    EXPECT_EQ(end(), 0);
    EXPECT_EQ(shows(1), "");
}
