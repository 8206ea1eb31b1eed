#include "commands/child_process.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "base/output.h"
#include "qrtscript.h"

void (*qrt_before_program)() = nullptr;
void (*qrt_in_program)() = nullptr;

// The programs started without waiting that have not been reaped.
static std::vector<pid_t> background;

static void forget(pid_t child) {
    background.erase(std::remove(background.begin(), background.end(), child), background.end());
}

// From here to the end of run_child only async-signal-safe calls, and nothing that the caller would miss is written:
// the child runs in the caller's memory until it becomes the program. A copy, which fork() makes, takes a time that
// grows with the memory of the caller.

// Closing what was open is bounded by the limit only where the kernel has no call for it.
static void close_descriptors() {
    if (close_range(STDERR_FILENO + 1, UINT_MAX, 0) == 0) return;
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    for (int descriptor = STDERR_FILENO + 1; descriptor < static_cast<int>(limit.rlim_cur); ++descriptor)
        close(descriptor);
}

static void join_output(int output) {
    if (output < 0) return;
    if (output != STDOUT_FILENO)
        dup2(output, STDOUT_FILENO);
    else
        fcntl(STDOUT_FILENO, F_SETFD, 0);
}

static bool hangups_are_ignored() noexcept {
    struct sigaction now = {};
    return sigaction(SIGHUP, nullptr, &now) == 0 && now.sa_handler == SIG_IGN;
}

// What was ignored before the caller could change it is nohup's doing, which reaches the programs of a script as well.
static const bool runs_under_nohup = hangups_are_ignored();

static void reset_signals() {
    struct sigaction usual = {};
    usual.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; ++number)
        if (number != SIGHUP || !runs_under_nohup) sigaction(number, &usual, nullptr);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] static void run_child(char *const *arguments, int output) {
    join_output(output);
    close_descriptors();
    if (qrt_in_program != nullptr) qrt_in_program();
    reset_signals();
    execvp(arguments[0], arguments);
    // A program that cannot be started is required to look like one that succeeded.
    _exit(0);
}

// Not inlined: the child may overwrite what this function has on the stack, and nothing else.
__attribute__((noinline)) static pid_t start_child(char *const *arguments, int output) {
    // posix_spawnp would refuse a file without "#!", and not tell a fork that failed from a program that is missing.
    const pid_t child = vfork(); // NOLINT(clang-analyzer-security.insecureAPI.vfork)
    if (child == 0) run_child(arguments, output);
    return child;
}

static pid_t start(std::vector<std::string> &words) {
    if (qrt_before_program != nullptr) qrt_before_program();
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string &word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const int output = fdr == nullptr ? -1 : fileno(fdr);
    // No signal may meet the caller's handlers in the child.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t child = start_child(arguments.data(), output);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (child < 0) {
        fputs(output_translate("Error forking child process \n"), stderr);
        exit(EXIT_FAILURE);
    }
    return child;
}

// Children that have ended meanwhile are reaped and ignored, even those of the caller: this is required.
static void reap_others() {
    for (pid_t child = waitpid(-1, nullptr, WNOHANG); child > 0; child = waitpid(-1, nullptr, WNOHANG)) forget(child);
}

// Waiting for this child alone, and reaping the others afterwards, keeps a long "@" program from holding up a caller
// that ignores SIGCHLD: there the wait has no status to tell, which counts as success.
static int wait_for(pid_t child) {
    int status = 0;
    const pid_t ended = TEMP_FAILURE_RETRY(waitpid(child, &status, 0));
    reap_others();
    return ended == child && WIFEXITED(status) ? WEXITSTATUS(status) : 0;
}

int child_run(std::vector<std::string> words) {
    return wait_for(start(words));
}

void child_run_in_background(std::vector<std::string> words) {
    background.reserve(background.size() + 1);
    background.push_back(start(words));
}

void child_reap() {
    const auto ended = [](pid_t child) { return waitpid(child, nullptr, WNOHANG) != 0; };
    background.erase(std::remove_if(background.begin(), background.end(), ended), background.end());
}
