#include "tools/qrtlogin/output_relay.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "include/qrtscript.h"
#include "platform/catalogue.h"
#include "platform/treelogin.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtlogin/relay_process.h"

int output_relay_interrupted = EXIT_SUCCESS;

// For the interrupt handler, and for an end that the library makes of the process.
static int relay = -1; // this side of the socket
static pid_t main_process;
static FILE *pipe_stream; // the library's own on the pipe

[[noreturn]] static void fail(int error) {
    throw Failure(exit_system, catalogue_format("cannot show the scripts' output: %s", strerror(error)));
}

// False when the relay is gone.
static bool take_answer(int *problem) {
    return TEMP_FAILURE_RETRY(recv(relay, problem, sizeof *problem, MSG_WAITALL)) == sizeof *problem;
}

// 0, or an errno.
static int ask() {
    int problem = 0;
    const char request = 's';
    // One that has never started has left its answer.
    const bool asked = send(relay, &request, 1, MSG_NOSIGNAL) == 1 || errno == EPIPE;
    return asked && take_answer(&problem) ? problem : EPIPE;
}

// The last request. There may be an answer on its way to an earlier one that an interrupt has cut short: the last
// answer is the one before the end. Only calls that are safe in a handler.
static int ask_to_end() {
    int problem = 0;
    shutdown(relay, SHUT_WR);
    while (take_answer(&problem)) {
    }
    return problem;
}

// The library ends the process itself when it cannot start a program.
static void show_all_at_exit() {
    if (relay >= 0 && getpid() == main_process) ask_to_end();
}

// The relay is detached, lest the command that this process becomes finds a child it does not know.
static void start_relay(int input, int requests, int window) {
    const pid_t first = fork();
    if (first < 0) fail(errno);
    if (first == 0) {
        const pid_t second = fork();
        if (second == 0) relay_process(input, requests, window);
        const int problem = errno;
        if (second < 0) send(requests, &problem, sizeof problem, MSG_NOSIGNAL);
        _exit(EXIT_SUCCESS);
    }
    TEMP_FAILURE_RETRY(waitpid(first, nullptr, 0));
}

// The library's handler ends the process at once. So a copy of the process runs it, and this one ends when the
// handler's message has been shown. Only calls that are safe in a handler.
static void interrupted(int signal) {
    // A script's program that has not been started yet still has this handler.
    if (bcntrlc == 0 || getpid() != main_process) return;
    // The scripts have ended: there is nothing left to abort.
    if (fd[1] < 0) return;
    if (CurrentPassword != nullptr) explicit_bzero(CurrentPassword, strlen(CurrentPassword));
    // The message is written to the stream's descriptor, which one that filters does not have.
    fdr = pipe_stream;
    const pid_t teller = _Fork();
    if (teller <= 0) cntrlcHandler(signal);
    // Not by waitpid, at which the window's side looks (watched_calls.cpp).
    TEMP_FAILURE_RETRY(wait4(teller, nullptr, 0, nullptr));
    ask_to_end();
    _exit(output_relay_interrupted);
}

// The library has closed the pipe's write end as a descriptor but never closes its stream. Closing the stream closes
// its descriptor's number once more, so that number is given something harmless first.
static void close_stream() {
    const int stale = fileno(pipe_stream);
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (null >= 0 && null != stale) {
        dup2(null, stale);
        close(null);
    }
    fclose(pipe_stream);
    fdr = nullptr;
}

OutputRelay::OutputRelay(int window) {
    main_process = getpid();
    joinErrors_ = output_is_same_file(STDOUT_FILENO, STDERR_FILENO);
    output_ = keep(STDOUT_FILENO);
    errors_ = keep(STDERR_FILENO);
    int ends[2], sockets[2];
    if (pipe2(ends, O_CLOEXEC) != 0) fail(errno);
    pipe_ = ends[1];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) fail(errno);
    relay = sockets[0];
    start_relay(ends[0], sockets[1], window);
    close(ends[0]);
    close(sockets[1]);
    // When it answers it has let go of what it got from this process, such as the pipe that a password comes through.
    const int problem = ask();
    if (problem != 0) fail(problem);
    atexit(show_all_at_exit);
}

OutputRelay::~OutputRelay() {
    // A run that had begun and failed: what the program reports about it is not the scripts' output, and reaches the
    // user before the program ends.
    if (pipe_ < 0 && relay >= 0) {
        restore(output_, STDOUT_FILENO);
        restore(errors_, STDERR_FILENO);
        ask_to_end();
    }
    for (int descriptor : {pipe_, relay, output_.copy, errors_.copy})
        if (descriptor >= 0) close(descriptor);
    relay = -1;
}

OutputRelay::Kept OutputRelay::keep(int descriptor) {
    Kept kept;
    kept.flags = fcntl(descriptor, F_GETFD);
    kept.copy = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (kept.copy < 0) fail(errno);
    return kept;
}

void OutputRelay::restore(const Kept &kept, int descriptor) {
    dup3(kept.copy, descriptor, (kept.flags & FD_CLOEXEC) != 0 ? O_CLOEXEC : 0);
}

void OutputRelay::begin() {
    // Under the library's number: qrt_exit closes that, and only that.
    dup3(pipe_, fd[1], O_CLOEXEC);
    close(fd[0]);
    close(pipe_);
    pipe_ = -1;
    dup2(fd[1], STDOUT_FILENO);
    if (joinErrors_) dup2(fd[1], STDERR_FILENO);
    pipe_stream = fdr;
    auxbefore_prompt = catchUp;
    signal(SIGINT, interrupted);
}

int OutputRelay::end() {
    fflush(stdout);
    restore(output_, STDOUT_FILENO);
    restore(errors_, STDERR_FILENO);
    close_stream();
    const int problem = ask_to_end();
    close(relay);
    relay = -1;
    auxbefore_prompt = nullptr;
    signal(SIGINT, SIG_DFL);
    return problem;
}

void OutputRelay::catchUp() {
    ask();
}

void OutputRelay::showAll() {
    ask_to_end();
}

bool output_is_same_file(int first, int second) {
    struct stat one = {}, other = {};
    if (fstat(first, &one) != 0 || fstat(second, &other) != 0) return false;
    if (one.st_dev == other.st_dev && one.st_ino == other.st_ino) return true;
    unsigned int terminal = 0, others = 0;
    return ioctl(first, TIOCGDEV, &terminal) == 0 && ioctl(second, TIOCGDEV, &others) == 0 && terminal == others;
}
