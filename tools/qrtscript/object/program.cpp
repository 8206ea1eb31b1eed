#include "tools/qrtscript/object/program.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "platform/catalogue.h"
#include "platform/common/opened.h"
#include "tools/program_start.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtlogin/private_memory.h"

static constexpr int not_found = 127;
static constexpr int by_signal = 128;

namespace {

// What the terminal sends is meant for the program alone, as for one that system(3) runs.
class TerminalLent {
  public:
    TerminalLent() : interrupt_(signal(SIGINT, SIG_IGN)), quit_(signal(SIGQUIT, SIG_IGN)) {}
    TerminalLent(const TerminalLent &) = delete;
    TerminalLent &operator=(const TerminalLent &) = delete;
    ~TerminalLent() { takeBack(); }
    void takeBack() const {
        signal(SIGINT, interrupt_);
        signal(SIGQUIT, quit_);
    }

  private:
    sighandler_t interrupt_, quit_;
};

} // namespace

[[noreturn]] static void become(const std::vector<std::string> &words, int output, ProgramOutput kind) {
    if (kind != ProgramOutput::unchanged) {
        const int nothing = open("/dev/null", O_RDWR);
        dup2(nothing, STDIN_FILENO);
        dup2(kind == ProgramOutput::taken   ? output
             : kind == ProgramOutput::shown ? STDERR_FILENO
                                            : nothing,
             STDOUT_FILENO);
        if (kind == ProgramOutput::dropped) dup2(nothing, STDERR_FILENO);
    }
    std::vector<char *> list;
    for (const std::string &word : words) list.push_back(const_cast<char *>(word.c_str()));
    list.push_back(nullptr);
    // In a hook Git names the hook's own repository by these.
    for (const char *name : {"GIT_DIR", "GIT_WORK_TREE", "GIT_INDEX_FILE", "GIT_PREFIX", "GIT_OBJECT_DIRECTORY",
                             "GIT_COMMON_DIR", "GIT_NAMESPACE"})
        if (words.front() == "git") unsetenv(name);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr); // what a change of many scripts holds back may end a program
    program_restore_signals();
    private_memory_end_limit();
    execvp(list[0], list.data());
    _exit(not_found);
}

static std::string all_of(int descriptor) {
    std::string text;
    char part[4096];
    for (;;) {
        const ssize_t got = TEMP_FAILURE_RETRY(read(descriptor, part, sizeof part));
        if (got <= 0) return text;
        text.append(part, static_cast<size_t>(got));
    }
}

// The interrupts that this process holds back and that have not come yet.
static sigset_t interrupts_to_come() {
    sigset_t blocked, waiting, found;
    sigprocmask(SIG_BLOCK, nullptr, &blocked);
    sigpending(&waiting);
    sigemptyset(&found);
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        if (sigismember(&blocked, number) == 1 && sigismember(&waiting, number) == 0) sigaddset(&found, number);
    return found;
}

// Waits for SIGCHLD, which is blocked. An interrupt that is held back meanwhile is the program's, too: it may wait for
// something that never comes. It stays held back here.
static void await_end(pid_t child) {
    sigset_t awaited = interrupts_to_come();
    if (sigisemptyset(&awaited) == 1) return;
    sigaddset(&awaited, SIGCHLD);
    for (;;) {
        siginfo_t about = {};
        if (waitid(P_PID, static_cast<id_t>(child), &about, WEXITED | WNOHANG | WNOWAIT) != 0 || about.si_pid != 0)
            return;
        const int number = sigwaitinfo(&awaited, nullptr);
        if (number <= 0 || number == SIGCHLD) continue;
        sigdelset(&awaited, number);
        kill(child, number);
        raise(number);
    }
}

static int status_of(pid_t child) {
    await_end(child);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : by_signal + WTERMSIG(status);
}

namespace {

// So that the end of a program can be waited for together with other signals.
class ChildSignalHeld {
  public:
    ChildSignalHeld() {
        sigset_t held;
        sigemptyset(&held);
        sigaddset(&held, SIGCHLD);
        sigprocmask(SIG_BLOCK, &held, &before_);
    }
    ChildSignalHeld(const ChildSignalHeld &) = delete;
    ChildSignalHeld &operator=(const ChildSignalHeld &) = delete;
    ~ChildSignalHeld() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

  private:
    sigset_t before_ = {};
};

} // namespace

ProgramRun program_run(const std::vector<std::string> &words, ProgramOutput output, mode_t withheld) {
    const auto refuse = [&] {
        return Failure(exit_system, catalogue_format("cannot run %1$s: %2$s", words.front().c_str(), strerror(errno)));
    };
    fflush(stdout);
    int ends[2] = {-1, -1};
    if (output == ProgramOutput::taken && pipe2(ends, O_CLOEXEC) != 0) throw refuse();
    const Opened readEnd(ends[0]);
    Opened writeEnd(ends[1]);
    std::optional<TerminalLent> lent;
    if (output == ProgramOutput::unchanged) lent.emplace();
    const ChildSignalHeld held;
    const pid_t child = fork();
    if (child < 0) throw refuse();
    if (child == 0) {
        if (lent) lent->takeBack();
        umask(umask(0) | withheld);
        become(words, writeEnd.number(), output);
    }
    writeEnd = Opened(-1);
    ProgramRun run;
    if (output == ProgramOutput::taken) run.output = all_of(readEnd.number());
    run.status = status_of(child);
    return run;
}
