#include "tests/fuzz/world/terminal.h"

#include <bsd/readpassphrase.h>
#include <poll.h>
#include <sys/types.h>
#include <cerrno>
#include <csignal>

#include "tests/fuzz/fuzz.h"

static constexpr int descriptor = 9;
static constexpr char event_mark = static_cast<char>(0xF8);
static constexpr int caught[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};

static std::string_view left;
static int open_count;
static bool ended;
static int came, raised; // signals
static bool blocked;
static struct sigaction handlers[32];

void terminal_start(std::string_view typed) {
    left = typed;
    open_count = 0;
    ended = blocked = false;
    came = raised = 0;
    for (const int number : caught) handlers[number] = {};
}

void terminal_check_end() {
    FUZZ_CHECK(open_count == 0 && !blocked);
    FUZZ_CHECK(came == raised);
    for (const int number : caught) FUZZ_CHECK(!handlers[number].sa_handler);
}

// The event at the front of what is typed, taken off, or 0.
static char take_event() {
    if (left.empty()) {
        ended = true;
        return 'e';
    }
    if (left[0] != event_mark || left.size() < 2) return '\0';
    const char event = left[1];
    left.remove_prefix(2);
    if (event == 'e') ended = true;
    return event;
}

// ---- the calls of the C library that the prompts make ----

extern "C" {
void fuzz_free(void *block) {
    free(block);
}

int fuzz_open(const char *, int, ...) {
    open_count++;
    return descriptor;
}

int fuzz_close(int file) {
    FUZZ_CHECK(file == descriptor && open_count > 0);
    open_count--;
    return 0;
}

ssize_t fuzz_read(int file, void *data, size_t size) {
    FUZZ_CHECK(file == descriptor && open_count > 0 && size == 1);
    if (ended || left.empty()) return 0;
    memcpy(data, left.data(), 1);
    left.remove_prefix(1);
    return 1;
}

static void check_shown(std::string_view text) {
    for (const char c : text) FUZZ_CHECK(static_cast<unsigned char>(c) >= ' ' || c == '\n');
}

// Takes a long text in pieces.
ssize_t fuzz_write(int file, const void *data, size_t size) {
    FUZZ_CHECK(file == descriptor && open_count > 0);
    check_shown({static_cast<const char *>(data), size});
    return static_cast<ssize_t>(size > 100 ? 100 : size);
}

int fuzz_ppoll(struct pollfd *files, nfds_t count, const struct timespec *, const sigset_t *mask) {
    FUZZ_CHECK(count == 1 && files->fd == descriptor && blocked && mask);
    const char event = take_event();
    const int number = event == 'i' ? SIGINT : event == 'h' ? SIGHUP : 0;
    if (number != 0) {
        came++;
        handlers[number].sa_handler(number);
    }
    if (number != 0 || event == 'r') {
        errno = EINTR;
        return -1;
    }
    return 1;
}

int fuzz_sigaction(int number, const struct sigaction *action, struct sigaction *before) {
    if (before) *before = handlers[number];
    handlers[number] = *action;
    return 0;
}

int fuzz_pthread_sigmask(int how, const sigset_t *, sigset_t *before) {
    if (before) sigemptyset(before);
    blocked = how == SIG_BLOCK;
    return 0;
}

// Behind the catcher's life, so that it meets the handler that stood before.
int fuzz_raise(int number) {
    if (number == 0) return 0; // no signal
    FUZZ_CHECK(!handlers[number].sa_handler);
    raised++;
    return 0;
}

// As its manual says: at most size - 1 bytes, what is typed beyond is lost, the end of input ends the line.
char *fuzz_readpassphrase(const char *prompt, char *answer, size_t size, int) {
    check_shown(prompt);
    size_t length = 0;
    while (true) {
        const char event = take_event();
        if (event == 'i' || event == 'h') return nullptr;
        if (event == 'r') continue;
        if (ended || left.empty()) break;
        const char c = left[0];
        left.remove_prefix(1);
        if (c == '\n') break;
        if (length + 1 < size) answer[length++] = c;
    }
    answer[length] = '\0';
    return answer;
}

// No display is named, so that no window is tried.
char *fuzz_secure_getenv(const char *) {
    return nullptr;
}

static int unexpected() {
    FUZZ_CHECK(!"no other process is talked to");
    return -1;
}

pid_t fuzz_waitpid(pid_t, int *, int) {
    return unexpected();
}

int fuzz_poll(pollfd *, nfds_t, int) {
    return unexpected();
}

ssize_t fuzz_send(int, const void *, size_t, int) {
    return unexpected();
}

ssize_t fuzz_recv(int, void *, size_t, int) {
    return unexpected();
}

int fuzz_setenv(const char *, const char *, int) {
    return unexpected();
}

} // extern "C"
