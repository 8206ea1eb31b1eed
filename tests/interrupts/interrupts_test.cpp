// Interrupts at random points of a run. After BREAK ON the output is what whole lines had been written and then the
// abort line, and the process has ended with 0; otherwise the script's output is whole, and the next script runs like
// the first. Never a torn line, never a process that hangs or dies of something else.
//   INTERRUPTS=10000 SEED=1 SHARE=10 tests/interrupts    so many, a repetition, and one of ten through qrtlogin
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>
#include <vector>

#include "include/qrtscript.h"
#include "platform/zk.h"
#include "tests/support/site.h"

namespace {

const char abort_line[] = "ctrl-c pressed, script aborted\n";
const char program_line[] = "said by a program\n";
constexpr int status_whole = 40;       // the interrupt came while the script ran
constexpr int status_too_late = 41;    // the script had ended before it
constexpr int status_of_a_mistake = 1; // of qrtlogin: the script has one
constexpr int patience_in_ms = 60000;  // beyond that a process counts as hanging

const char body[] =
    "WRITE \"Hello %FULL_NAME of %LOGIN_CONTEXT\"\n"
    "SET NAME=\"%LOGIN_NAME\"\n"
    "IF \"%<NAME>\"=\"jdoe\" THEN\n"
    "  WRITE \"%<NAME> it is\"\n"
    "ELSE\n"
    "  WRITE \"somebody else\"\n"
    "END\n"
    "IF MEMBER OF \".none.acme\" THEN\nWRITE \"a member\"\nEND\n"
    "#true\n"
    "GOTO there\n"
    "WRITE \"skipped\"\n"
    "there:\n"
    "DISPLAY @FILE@\n"
    "FOO BAR BAZ\n"
    "#echo said by a program\n"
    "CONTEXT .sales.acme\n"
    "WRITE \"a\";\"b\";\"c\"\n"
    "WRITE \"last\"\n";

const char *const scripts[] = {"WRITE \"first\"\nBREAK ON\n", "BREAK OFF\n", "BREAK ON\nBREAK OFF\n"};
const char next_script[] = "WRITE \"next %LOGIN_NAME\"\nIF \"a\"=\"a\" THEN\nWRITE \"yes\"\nEND\n";

long setting(const char *name, long usual) {
    const char *text = getenv(name);
    return text != nullptr ? strtol(text, nullptr, 10) : usual;
}

// What a process wrote until its end, and how it ended.
struct Trial {
    std::string output;
    int status = 0;
    bool hung = false;
};

// Reads until `until` bytes have come, or to the end.
void read_some(int descriptor, size_t until, Trial *trial) {
    char block[4096];
    while (trial->output.size() < until && !trial->hung) {
        pollfd input = {descriptor, POLLIN, 0};
        if (poll(&input, 1, patience_in_ms) == 0) trial->hung = true;
        const ssize_t got = trial->hung ? 0 : read(descriptor, block, sizeof block);
        if (got <= 0) return;
        trial->output.append(block, static_cast<size_t>(got));
    }
}

void finish(pid_t child, int descriptor, Trial *trial) {
    read_some(descriptor, SIZE_MAX, trial);
    close(descriptor);
    if (trial->hung) kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    trial->status = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

class Interrupts : public Site {
  protected:
    struct Case {
        std::string script;
        std::string library, program; // the whole output in this process, and through qrtlogin
    };

    Interrupts() : seed_(static_cast<unsigned long>(setting("SEED", static_cast<long>(std::random_device()())))) {
        random_.seed(seed_);
        site.write("text.txt", "a file's text\n");
        for (const auto &[name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
        for (const char *start : scripts) {
            std::string text = start + std::string(body);
            text.replace(text.find("@FILE@"), 6, site.path("text.txt"));
            cases_.push_back({text, "", ""});
        }
    }

    void log_in() {
        ASSERT_EQ(qrt_Getctx("ACME", &handle_), 0u);
        ASSERT_EQ(ZKDSLoginEx(handle_, "jdoe.sales.acme", 2, "secret"), 0u);
    }

    // The script in a process of its own, with an interrupt after so many microseconds (none: 0).
    Trial run(const std::string &script, long microseconds, double *seconds = nullptr) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
        const pid_t child = fork();
        if (child == 0) be_interrupted(ends[1], script, microseconds);
        close(ends[1]);
        const auto begin = std::chrono::steady_clock::now();
        Trial trial;
        finish(child, ends[0], &trial);
        if (seconds) *seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
        return trial;
    }

    // The same through qrtlogin, counted from its first output.
    Trial run_program(const std::string &script, long microseconds, double *seconds = nullptr) {
        site.write("own.qrt", script);
        site.write("password", "secret\n");
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
        const pid_t child = fork();
        if (child == 0) become_qrtlogin(ends[1]);
        close(ends[1]);
        Trial trial;
        read_some(ends[0], 1, &trial);
        const auto begin = std::chrono::steady_clock::now();
        if (microseconds > 0) {
            const timespec wait = {0, microseconds * 1000};
            nanosleep(&wait, nullptr);
            kill(child, SIGINT);
        }
        finish(child, ends[0], &trial);
        if (seconds) *seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
        return trial;
    }

    long random_point(double seconds) {
        return std::uniform_int_distribution<long>(1, static_cast<long>(seconds * 1.05e6) + 1)(random_);
    }

    // The typical time of a whole run.
    template <typename Run>
    static double typical(Run run_once) {
        std::vector<double> times(9);
        for (double &time : times) run_once(&time);
        std::sort(times.begin(), times.end());
        return times[times.size() / 2];
    }

    enum Verdict { Aborted, Whole, TooLate, Torn };

    // A program that a script had started goes on, and its line may follow the abort line.
    static bool is_abort(const Trial &trial, const std::string &whole) {
        const size_t cut = trial.output.find(abort_line);
        if (trial.status != 0 || cut == std::string::npos) return false;
        const std::string before = trial.output.substr(0, cut);
        const std::string after = trial.output.substr(cut + sizeof abort_line - 1);
        const bool programs_own = after == program_line && whole.compare(cut, after.size(), after) == 0;
        return whole.compare(0, cut, before) == 0 && (before.empty() || before.back() == '\n') &&
               (after.empty() || programs_own);
    }

    Verdict judge(const Trial &trial, const Case &one, bool breaks) const {
        if (trial.hung) return Torn;
        if (breaks && is_abort(trial, one.library.substr(0, one.library.size() - next_output_.size()))) return Aborted;
        if (trial.output != one.library) return Torn;
        return trial.status == status_whole ? Whole : trial.status == status_too_late ? TooLate : Torn;
    }

    Verdict judge_program(const Trial &trial, const Case &one, bool breaks) const {
        if (trial.hung) return Torn;
        if (breaks && is_abort(trial, one.program)) return Aborted;
        if (trial.output != one.program) return Torn;
        // Its scripts had ended before.
        if (trial.status == 1000 + SIGINT) return TooLate;
        return trial.status == status_of_a_mistake ? Whole : Torn;
    }

    unsigned long seed_;
    std::mt19937 random_;
    std::vector<Case> cases_;
    std::string next_output_;
    uint32_t handle_ = 0;

  private:
    [[noreturn]] void be_interrupted(int output, const std::string &script, long microseconds) {
        if (qrt_init(nullptr, fdopen(output, "w")) != 0) _exit(99);
        qrt_SetTree("ACME");
        char context[] = "sales.acme";
        qrt_SetCurrentContext(context);
        qrt_SetCurrentObject("jdoe");
        qrt_SetLoginName("jdoe");
        qrt_SetUserVar(1, "jdoe");
        timer_t timer;
        sigevent event = {};
        event.sigev_notify = SIGEV_SIGNAL;
        event.sigev_signo = SIGINT;
        if (timer_create(CLOCK_MONOTONIC, &event, &timer) != 0) _exit(98);
        itimerspec when = {};
        when.it_value = {microseconds / 1000000, microseconds % 1000000 * 1000};
        char *object = qrt_Object();
        timer_settime(timer, 0, &when, nullptr);
        parsescript_Run(script.c_str(), object, handle_);
        const itimerspec off = {};
        itimerspec left = {};
        timer_settime(timer, 0, &off, &left);
        const bool delivered = left.it_value.tv_sec == 0 && left.it_value.tv_nsec == 0;
        parsescript_Run(next_script, object, handle_);
        _exit(delivered ? status_whole : status_too_late);
    }

    [[noreturn]] void become_qrtlogin(int output) {
        const int password = open(site.path("password").c_str(), O_RDONLY);
        const int errors = open("/dev/null", O_WRONLY);
        dup2(output, STDOUT_FILENO);
        dup2(errors, STDERR_FILENO);
        dup2(password, 3);
        close_range(4, ~0U, 0);
        const std::string script = site.path("own.qrt");
        execl(QRTLOGIN_PATH, "qrtlogin", "--password-fd", "3", "--login-script", script.c_str(), "jdoe.sales.acme",
              nullptr);
        _exit(125);
    }
};

} // namespace

TEST_F(Interrupts, LeaveWholeLines) {
    log_in();
    double library = 0, program = 0;
    for (Case &one : cases_) {
        one.library = run(one.script, 0).output;
        one.program = run_program(one.script, 0).output;
        ASSERT_NE(one.library.find("abc\nlast\n"), std::string::npos) << one.library;
        ASSERT_NE(one.program.find("abc\nlast\n"), std::string::npos) << one.program;
    }
    next_output_ = "next jdoe\nyes\n";
    library = typical([&](double *seconds) { run(cases_[1].script, 0, seconds); });
    program = typical([&](double *seconds) { run_program(cases_[1].script, 0, seconds); });

    const long wanted = setting("INTERRUPTS", 150);
    const long share = setting("SHARE", 10);
    long count[4] = {};
    printf("seed %lu, a run takes %.1f ms, through qrtlogin %.1f ms\n", seed_, library * 1e3, program * 1e3);
    for (long attempt = 0; count[Aborted] + count[Whole] < wanted && attempt < 5 * wanted; ++attempt) {
        const size_t which = static_cast<size_t>(attempt) % cases_.size();
        const Case &one = cases_[which];
        const bool through_program = attempt % share == 0;
        const long point = random_point(through_program ? program : library);
        const Trial trial = through_program ? run_program(one.script, point) : run(one.script, point);
        // The last script may be aborted between its BREAK ON and its BREAK OFF, before it says anything.
        const bool breaks = which == 0 || (which == 2 && trial.output.find("Hello") == std::string::npos);
        const Verdict verdict = through_program ? judge_program(trial, one, breaks) : judge(trial, one, breaks);
        ++count[verdict];
        if (verdict != Torn) continue;
        ADD_FAILURE() << "script " << which << (through_program ? " through qrtlogin" : "") << " at " << point
                      << " us, status " << trial.status << (trial.hung ? ", hung" : "") << ":\n"
                      << trial.output;
        if (count[Torn] == 10) break;
    }
    const long delivered = count[Aborted] + count[Whole] + count[Torn];
    printf("interrupts: %ld delivered, %ld aborted, %ld whole, %ld torn\n", delivered, count[Aborted], count[Whole],
           count[Torn]);
    EXPECT_GE(delivered, wanted);
    EXPECT_GT(count[Aborted], wanted / 10);
    EXPECT_GT(count[Whole], wanted / 10);
}
