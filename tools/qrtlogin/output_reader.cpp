#include "tools/qrtlogin/output_reader.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <system_error>

#include "include/qrtscript.h"
#include "platform/treelogin.h"

namespace {

// A line longer than this comes from the library in pieces; a piece is not the end of its line.
constexpr size_t piece_size = 1024;

// For the interrupt handler: closed by the reader when everything has been shown.
int shown_pipe[2] = {-1, -1};
pid_t main_process;
Secret *password_in_use;

// The rest of the output without memory for its lines.
void print_rest(int output) {
    char c = '\0';
    for (;;) {
        const ssize_t got = read(fd[0], &c, 1);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0 || c == '\0') return;
        // The scripts run on when nobody reads.
        [[maybe_unused]] const ssize_t written = write(output, &c, 1);
    }
}

// Ends at the end marker, not at the end of the pipe: a program that a script started and left running holds the
// pipe's write end open for as long as it likes.
void print_results(FILE *output) {
    // The scripts run to their end even when nobody reads on.
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
    char *line = nullptr;
    for (errno = 0; qrt_ReadResults(&line) == 0; errno = 0) {
        size_t length = strlen(line);
        fwrite(line, 1, length, output);
        if (length < piece_size) fputc('\n', output);
        fflush(output);
        free(line);
    }
    if (errno == ENOMEM) print_rest(fileno(output));
    close(shown_pipe[1]);
}

// Before a script's question: waits until the reader has shown what came before it, that is until the pipe has been
// empty for a few looks. A program in the background that never stops writing holds the question up for a second at
// most.
void catch_up() {
    constexpr int looks = 200, quiet_looks = 4;
    const timespec between = {0, 5000000};
    for (int look = 0, quiet = 0; look < looks && quiet < quiet_looks; ++look) {
        int waiting = 0;
        quiet = ioctl(fd[0], FIONREAD, &waiting) == 0 && waiting > 0 ? 0 : quiet + 1;
        nanosleep(&between, nullptr);
    }
}

// The library's handler ends the process at once, and with it the thread that was to show the handler's message. So a
// copy of the process runs it, and this one ends when the message has been shown. Only calls that are safe in a
// handler.
void interrupted(int signal) {
    // A script's program that has not been started yet still has this handler.
    if (bcntrlc == 0 || getpid() != main_process) return;
    // The scripts have ended: there is nothing left to abort.
    if (fd[1] < 0) return;
    password_in_use->wipe();
    if (CurrentPassword != nullptr) explicit_bzero(CurrentPassword, strlen(CurrentPassword));
    pid_t teller = _Fork();
    if (teller <= 0) cntrlcHandler(signal);
    while (waitpid(teller, nullptr, 0) < 0 && errno == EINTR) {
    }
    // In the moment in which the library closes the pipe this fails, and the end has been told already.
    char end = '\0';
    [[maybe_unused]] const ssize_t told = write(fd[1], &end, 1);
    while (read(shown_pipe[0], &end, 1) < 0 && errno == EINTR) {
    }
    _exit(EXIT_SUCCESS);
}

// The library has closed the pipe's write end as a descriptor but never closes its stream or the read end. Closing the
// stream closes its descriptor's number once more, so that number is given something harmless first.
void close_pipe() {
    int stale = fileno(fdr);
    int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (null >= 0 && null != stale) {
        dup2(null, stale);
        close(null);
    }
    fclose(fdr);
    fdr = nullptr;
    close(fd[0]);
}

} // namespace

OutputReader::OutputReader(FILE *output, Secret *password) {
    if (pipe2(shown_pipe, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    main_process = getpid();
    password_in_use = password;
    // The interrupt is the main thread's: the reader must go on reading while the handler waits for it.
    sigset_t interrupt, before;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    pthread_sigmask(SIG_BLOCK, &interrupt, &before);
    thread_ = std::thread(print_results, output);
    auxbefore_prompt = catch_up;
    signal(SIGINT, interrupted);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

OutputReader::~OutputReader() {
    thread_.join();
    auxbefore_prompt = nullptr;
    signal(SIGINT, SIG_DFL);
    close(shown_pipe[0]);
    close_pipe();
}
