#include "tools/automount/limited_program.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>

extern "C" { // which the header of glibc 2.36 forgets
#include <sys/pidfd.h>
}

#include "platform/common/opened.h"
#include "platform/common/write_all.h"

static constexpr size_t output_limit = 4096;
static constexpr int password_descriptor = 3;
static constexpr int not_started = 127;

namespace {

struct CloseFile {
    void operator()(FILE *file) const { fclose(file); }
};

struct Pipe {
    Opened read{-1}, write{-1};
    bool make() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) return false;
        read = Opened(ends[0]);
        write = Opened(ends[1]);
        return true;
    }
};

} // namespace

static int64_t milliseconds_now() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

// In the child. Whoever reads this process's own output waits for all that have it open.
static void redirect_streams(const Pipe &output) {
    const int nothing = open("/dev/null", O_RDONLY);
    dup2(nothing, STDIN_FILENO);
    dup2(output.write.number(), STDOUT_FILENO);
    dup2(output.write.number(), STDERR_FILENO);
}

// In the child: never returns.
[[noreturn]] static void become(const std::vector<std::string> &words, const Pipe &secret) {
    const char *const environment[] = {"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL=C", "PASSWD_FD=3", nullptr};
    const char *const without_password[] = {environment[0], environment[1], nullptr};
    std::vector<char *> arguments;
    for (const std::string &word : words) arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    const bool has_password = secret.read.isOpen();
    // The number may be one of those that are in use, and closed with the program's start.
    const int kept = has_password ? fcntl(secret.read.number(), F_DUPFD, 10) : -1;
    if (has_password) dup2(kept, password_descriptor);
    closefrom(has_password ? password_descriptor + 1 : password_descriptor);
    execve(arguments[0], arguments.data(), const_cast<char **>(has_password ? environment : without_password));
    _exit(not_started);
}

// What is there to be read now.
static void read_output(int descriptor, std::string *output) {
    char part[512];
    ssize_t got = 0;
    while ((got = TEMP_FAILURE_RETRY(read(descriptor, part, sizeof part))) > 0)
        output->append(part, std::min(static_cast<size_t>(got), output_limit - output->size()));
}

// False when the limit passes first. Programs that it leaves behind may keep the pipe: only its own end counts.
static bool await(int process, int output, int64_t until, std::string *text) {
    pollfd wanted[] = {{process, POLLIN, 0}, {output, POLLIN, 0}};
    for (;;) {
        const int64_t left = until - milliseconds_now();
        if (left <= 0) return false;
        const int ready = poll(wanted, 2, static_cast<int>(left));
        if (ready < 0 && errno != EINTR) return false;
        read_output(output, text);
        if (wanted[0].revents != 0) return true;
        if ((wanted[1].revents & POLLHUP) != 0) wanted[1].fd = -1;
    }
}

static bool hand_over(Pipe *secret, const Secret *password) {
    if (password == nullptr) return true;
    if (!secret->make()) return false;
    const bool written =
        write_all(secret->write.number(), std::string_view(password->text(), strlen(password->text()))); // fits
    secret->write = Opened(-1);
    return written;
}

// Kills what has become this process's child; false when there is none.
static bool kill_children() {
    const std::string list = "/proc/self/task/" + std::to_string(gettid()) + "/children";
    const std::unique_ptr<FILE, CloseFile> children(fopen(list.c_str(), "re"));
    pid_t child = 0;
    bool any = false;
    while (children != nullptr && fscanf(children.get(), "%d", &child) == 1) any = kill(child, SIGKILL) == 0 || any;
    return any;
}

// The program and, as each end brings up the next ones, all that it has started: a while long, as what hangs in the
// kernel ends when it likes.
static void end_all() {
    constexpr timespec pause = {0, 10 * 1000 * 1000};
    constexpr int patience = 20;
    for (int i = 0; i < patience && kill_children(); ++i) {
        nanosleep(&pause, nullptr);
        while (waitpid(-1, nullptr, WNOHANG) > 0) {
        }
    }
}

static ProgramEnd end_of(pid_t child, bool inTime, std::string output) {
    int status = 0;
    if (!inTime) {
        end_all();
        return {ProgramEnd::How::silent, 0, std::move(output)};
    }
    // Without a status, where the caller's parent had SIGCHLD ignored, nobody knows that it went well.
    const bool known = TEMP_FAILURE_RETRY(waitpid(child, &status, 0)) == child;
    if (!known || !WIFEXITED(status)) return {ProgramEnd::How::ended, 0, std::move(output)};
    return {ProgramEnd::How::exited, WEXITSTATUS(status), std::move(output)};
}

// `child` ends the process.
static ProgramEnd run_child(const std::function<void()> &child, long seconds) {
    const ProgramEnd failed = {ProgramEnd::How::ended, 0, ""};
    const int64_t until = milliseconds_now() + seconds * 1000;
    prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);
    Pipe output;
    if (!output.make()) return failed;
    const pid_t started = fork();
    if (started == 0) {
        redirect_streams(output);
        child();
    }
    if (started < 0) return failed;
    output.write = Opened(-1);
    fcntl(output.read.number(), F_SETFL, O_NONBLOCK);
    const Opened process(pidfd_open(started, 0));
    if (!process.isOpen()) { // it is gone, with its status, or cannot be waited for
        end_all();
        return failed;
    }
    std::string text;
    const bool in_time = await(process.number(), output.read.number(), until, &text);
    return end_of(started, in_time, std::move(text));
}

ProgramEnd limited_program_run(const std::vector<std::string> &words, const Secret *password, long seconds) {
    if (access(words[0].c_str(), X_OK) != 0) return {ProgramEnd::How::notFound, 0, ""};
    Pipe secret;
    if (!hand_over(&secret, password)) return {ProgramEnd::How::ended, 0, ""};
    return run_child([&] { become(words, secret); }, seconds);
}

// No exception passes the frames of the parent.
ProgramEnd limited_work_run(const std::function<int()> &work, long seconds) {
    return run_child([&]() noexcept { _exit(work()); }, seconds);
}
