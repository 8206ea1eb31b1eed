#include "tools/qrtlogin/run_guard.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <string>

extern "C" {
#include <sys/pidfd.h> // says nothing of C++ itself before glibc 2.38
}

#include "include/qrtscript.h"
#include "platform/catalogue.h"
#include "platform/treelogin.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtlogin/output_relay.h"
#include "tools/qrtlogin/run_patience.h"
#include "tools/qrtlogin/script_programs.h"

namespace {

// What the thread of the scripts sends to the guard, a byte each.
enum Event : char { interrupted = 'i', question_begins = 'q', question_ends = 'a', run_ended = 'e' };

} // namespace

// How long an interrupt may wait for the thread of the scripts, which takes it at once unless it is stuck in a call.
static constexpr int64_t patience_with_main = 50;
static constexpr int rest_at_most = 200, tell_at_most = 3000;

static constexpr int handed_on = 0x71727467; // the value of an interrupt that the guard has counted already

static pid_t process;

static pthread_t main_thread, guard_thread;

static int to_guard = -1, from_main = -1; // a pair of sockets

static int interrupts = -1; // readable while an interrupt waits for the process

static int terminal = -1;

static termios settings;

static bool has_settings;

static std::optional<int64_t> time_limit; // milliseconds

static std::string told_interrupted, told_time_limit, told_cancelled;

static LoginWindow *window;

static Secret *password_in_use;

namespace {

struct sigaction former_interrupt, former_rest;

} // namespace

static void (*former_before)(void);

static void (*former_after)(void);

static std::atomic<bool> main_rests;

// Is sent to the thread of the scripts when the run is ended.
static int rest_signal() {
    return SIGRTMAX;
}

static int64_t now() {
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1000000;
}

static void note(Event event) {
    const char byte = event;
    send(to_guard, &byte, 1, MSG_DONTWAIT | MSG_NOSIGNAL);
}

// ---- in the thread of the scripts ----

static void take_interrupt(int signal, siginfo_t *info, void *) {
    const int error = errno;
    const bool counted = info->si_code == SI_QUEUE && info->si_value.sival_int == handed_on;
    // A script's program that has not been started yet still has this handler.
    if (!counted && getpid() == process) note(interrupted);
    if (former_interrupt.sa_handler != SIG_DFL && former_interrupt.sa_handler != SIG_IGN)
        former_interrupt.sa_handler(signal);
    errno = error;
}

// Nothing of the scripts goes on from here.
static void rest(int) {
    if (getpid() != process) return;
    main_rests = true;
    for (;;) pause();
}

static void before_question() {
    if (former_before != nullptr) former_before();
    note(question_begins);
}

static void after_question() {
    note(question_ends);
    if (former_after != nullptr) former_after();
}

// ---- the end of a run, in the thread of the guard ----
// The other thread rests anywhere, perhaps within malloc: only calls that are safe in a signal handler.

static void stop_main() {
    constexpr int look = 5;
    pthread_kill(main_thread, rest_signal());
    for (int passed = 0; passed < rest_at_most && !main_rests; passed += look) poll(nullptr, 0, look);
}

static void wipe_passwords() {
    password_in_use->wipe();
    if (CurrentPassword != nullptr) explicit_bzero(CurrentPassword, strlen(CurrentPassword));
}

// A program that was ended may have left it without echo, and as its own. Meanwhile the person may also have put the
// login into the background: then the terminal is somebody else's.
static void restore_terminal() {
    if (!has_settings) return;
    const pid_t owner = tcgetpgrp(terminal);
    if (owner != getpgrp() && !script_programs_had(owner)) return;
    tcsetpgrp(terminal, getpgrp());
    tcsetattr(terminal, TCSANOW, &settings);
}

// What was written may not be to be shown now, on a terminal that is held or a share that hangs: so a copy of the
// process does it, and this one waits only for a while.
static void tell(const std::string &sentence) {
    const pid_t teller = _Fork();
    if (teller == 0) {
        OutputRelay::catchUp();
        if (write(STDERR_FILENO, sentence.data(), sentence.size()) >= 0) OutputRelay::showAll();
        _exit(EXIT_SUCCESS);
    }
    const int handle = teller > 0 ? pidfd_open(teller, 0) : -1;
    pollfd end = {handle, POLLIN, 0};
    if (handle >= 0) poll(&end, 1, tell_at_most);
}

[[noreturn]] static void end_run(int status, const std::string &sentence) {
    stop_main();
    wipe_passwords();
    script_programs_end();
    restore_terminal();
    tell(sentence);
    if (window != nullptr) window->tellEnd(status == exit_interrupted ? 'x' : 'f', sentence);
    _exit(status);
}

// ---- the guard ----

namespace {

class Guard {
  public:
    void run() {
        while (!hasEnded_) {
            pollfd sources[] = {{from_main, POLLIN, 0},
                                {lookedAt_ < 0 ? interrupts : -1, POLLIN, 0},
                                {hasWindow() ? window->descriptor() : -1, POLLIN, 0}};
            poll(sources, 3, timeout());
            takeEvents();
            if (hasEnded_) return;
            if (hasWindow() && window->takeCancel()) end_run(exit_interrupted, told_cancelled);
            if (lookedAt_ >= 0 && now() - lookedAt_ >= patience_with_main)
                takeWaitingInterrupt();
            else if (sources[1].revents != 0)
                lookedAt_ = now();
            if (allowance_.left(now()) == 0) end_run(exit_time_limit, told_time_limit);
        }
    }

  private:
    static bool hasWindow() { return window != nullptr && window->isOpen(); }

    int timeout() {
        std::optional<int64_t> left = allowance_.left(now());
        if (hasWindow()) left = std::min(left.value_or(INT_MAX), window->patienceLeft());
        if (lookedAt_ >= 0) {
            const int64_t wait = std::max<int64_t>(lookedAt_ + patience_with_main - now(), 0);
            left = left ? std::min(*left, wait) : wait;
        }
        return left ? static_cast<int>(std::min<int64_t>(*left, INT_MAX)) : -1;
    }

    void takeEvents() {
        char event = '\0';
        while (recv(from_main, &event, 1, MSG_DONTWAIT) == 1) {
            if (event == interrupted) count();
            if (event == question_begins) allowance_.questionBegins(now());
            if (event == question_ends) allowance_.questionEnds(now());
            if (event == run_ended) hasEnded_ = true;
        }
    }

    // The thread of the scripts has not taken it: it is stuck. It finds the interrupt when it goes on.
    void takeWaitingInterrupt() {
        lookedAt_ = -1;
        signalfd_siginfo info = {};
        if (read(interrupts, &info, sizeof info) != sizeof info) return;
        sigval value = {};
        value.sival_int = handed_on;
        pthread_sigqueue(main_thread, SIGINT, value);
        count();
    }

    void count() {
        if (series_.add(now())) end_run(exit_interrupted, told_interrupted);
    }

    TimeAllowance allowance_ = TimeAllowance(time_limit, now());
    InterruptSeries series_;
    int64_t lookedAt_ = -1; // when an interrupt was seen that waits
    bool hasEnded_ = false;
};

} // namespace

static void *guard_main(void *) {
    Guard().run();
    return nullptr;
}

// ---- begin and end ----

[[noreturn]] static void fail(int error) {
    throw Failure(exit_system, catalogue_format("cannot watch over the scripts: %s", strerror(error)));
}

static void close_all() {
    for (int *descriptor : {&to_guard, &from_main, &interrupts, &terminal}) {
        if (*descriptor >= 0) close(*descriptor);
        *descriptor = -1;
    }
}

// With all signals blocked: only it may find the interrupts that wait, and nothing else may stop it.
static int start_thread() {
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const int error = pthread_create(&guard_thread, nullptr, guard_main, nullptr);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return error;
}

static void open_all() {
    sigset_t interrupt;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    int sockets[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) fail(errno);
    to_guard = sockets[0];
    from_main = sockets[1];
    interrupts = signalfd(-1, &interrupt, SFD_CLOEXEC | SFD_NONBLOCK);
    if (interrupts < 0) fail(errno);
    terminal = open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY);
    has_settings = terminal >= 0 && tcgetpgrp(terminal) == getpgrp() && tcgetattr(terminal, &settings) == 0;
}

// What is said at the end is made before: there is no memory for it then.
static void prepare(std::optional<int> seconds) {
    time_limit = time_limit_of(seconds, terminal >= 0);
    const auto line = [](const std::string &text) { return std::string(failure_program) + ": " + text + "\n"; };
    told_interrupted = line(catalogue_text("the scripts were ended by the third interrupt"));
    told_time_limit = line(catalogue_format("the scripts were ended at the time limit of %d s (--time-limit)",
                                            static_cast<int>(time_limit.value_or(0) / 1000)));
    told_cancelled = line(catalogue_text("the scripts were cancelled in the window"));
    script_programs_begin();
}

static void install() {
    struct sigaction resting = {}, interrupting = {};
    resting.sa_handler = rest;
    sigfillset(&resting.sa_mask);
    sigaction(rest_signal(), &resting, &former_rest);
    interrupting.sa_sigaction = take_interrupt;
    interrupting.sa_flags = SA_RESTART | SA_SIGINFO;
    sigaction(SIGINT, &interrupting, &former_interrupt);
    former_before = auxbefore_prompt;
    former_after = auxafter_prompt;
    auxbefore_prompt = before_question;
    auxafter_prompt = after_question;
}

static void uninstall() {
    auxbefore_prompt = former_before;
    auxafter_prompt = former_after;
    sigaction(SIGINT, &former_interrupt, nullptr);
    sigaction(rest_signal(), &former_rest, nullptr);
}

RunGuard::RunGuard(std::optional<int> seconds, Secret *password, LoginWindow *shown) {
    window = shown;
    if (window != nullptr) window->listen();
    process = getpid();
    main_thread = pthread_self();
    password_in_use = password;
    main_rests = false;
    try {
        open_all();
        prepare(seconds);
        install();
        const int error = start_thread();
        if (error != 0) {
            uninstall();
            fail(error);
        }
    } catch (...) {
        close_all();
        throw;
    }
}

RunGuard::~RunGuard() {
    note(run_ended);
    pthread_join(guard_thread, nullptr);
    uninstall();
    close_all();
}
