#include "tools/qrtlogin/relay_process.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>

#include "platform/common/write_all.h"
#include "tools/qrtlogin/login_message.h"

// Where its descriptors stand. Not its own standard error, which somebody may wait to see closed.
static constexpr int input = STDIN_FILENO, output = STDOUT_FILENO, requests = STDERR_FILENO;
static constexpr int window_place = STDERR_FILENO + 1;

static char block[size_t{64} * 1024];
static int problem = 0;           // errno of the first write that failed
static bool line_is_open = false; // what was shown last did not end its line
static bool scripts_run = true;
static int window = -1;

// It ends when its input does, even when the login is interrupted, stopped or killed: what was written by then is still
// shown.
static void ignore_signals() {
    for (int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE, SIGALRM, SIGUSR1, SIGUSR2, SIGTSTP, SIGTTIN, SIGTTOU})
        std::signal(signal, SIG_IGN);
}

// The end of the scripts' output is marked with a zero byte, which is not for the person.
static size_t without_zeroes(size_t length) {
    return static_cast<size_t>(std::remove(block, block + length, '\0') - block);
}

static bool window_has_room() {
    constexpr int patience = 10000;
    pollfd room = {window, POLLOUT, 0};
    return poll(&room, 1, patience) > 0 && (room.revents & POLLOUT) != 0;
}

static void close_window() {
    if (window >= 0) close(window);
    window = -1;
}

static void show_in_window(std::string_view text) {
    char packet[window_message_limit];
    while (window >= 0 && !text.empty()) {
        const size_t size = login_message_write('o', {text.substr(0, login_output_limit)}, packet);
        if (send(window, packet, size, MSG_NOSIGNAL | MSG_DONTWAIT) >= 0)
            text.remove_prefix(std::min(text.size(), login_output_limit));
        else if ((errno != EAGAIN && errno != ENOBUFS) || !window_has_room())
            close_window();
    }
}

static void show(size_t length) {
    if (scripts_run) length = without_zeroes(length);
    if (length == 0) return;
    show_in_window({block, length});
    line_is_open = block[length - 1] != '\n';
    if (write_all(output, {block, length})) return;
    if (problem == 0) problem = errno;
    // From here on its writers are to see what they would see without it in between.
    if (!scripts_run) _exit(EXIT_SUCCESS);
}

// Reads once, at most `limit` bytes. Returns how many, 0 at the end.
static size_t pass_on(size_t limit) {
    const ssize_t got = TEMP_FAILURE_RETRY(read(input, block, std::min(limit, sizeof block)));
    if (got <= 0) return 0;
    show(static_cast<size_t>(got));
    return static_cast<size_t>(got);
}

// No more than there is now: a program in the background that never stops writing causes no delay.
static void pass_on_what_waits() {
    int waiting = 0;
    if (ioctl(input, FIONREAD, &waiting) != 0) return;
    size_t got = 1;
    for (size_t left = static_cast<size_t>(waiting); left > 0 && got > 0; left -= got) got = pass_on(left);
}

static void end_line() {
    if (!line_is_open) return;
    block[0] = '\n';
    show(1);
}

// False after the last request.
static bool serve_request() {
    char request = '\0';
    const ssize_t got = TEMP_FAILURE_RETRY(recv(requests, &request, 1, 0));
    pass_on_what_waits();
    if (got <= 0) end_line();
    send(requests, &problem, sizeof problem, MSG_NOSIGNAL);
    if (got > 0) return true;
    close(requests);
    close_window();
    scripts_run = false;
    return false;
}

void relay_process(int from, int login, int shown) {
    ignore_signals();
    prctl(PR_SET_NAME, "qrtlogin-output");
    dup2(from, input);
    dup2(login, requests);
    if (shown >= 0 && dup2(shown, window_place) >= 0) window = window_place;
    close_range(window_place + (window >= 0 ? 1 : 0), UINT_MAX, 0);
    // A folder that it stands in could not be unmounted.
    if (chdir("/") != 0) errno = 0;

    pollfd sources[] = {{input, POLLIN, 0}, {requests, POLLIN, 0}};
    while (sources[0].fd >= 0 || sources[1].fd >= 0) {
        if (poll(sources, 2, -1) < 0) continue;
        if (sources[1].revents != 0) {
            if (!serve_request()) sources[1].fd = -1;
            // The input's state is an old one now.
            continue;
        }
        if (sources[0].revents != 0 && pass_on(sizeof block) == 0) sources[0].fd = -1;
    }
    _exit(EXIT_SUCCESS);
}
