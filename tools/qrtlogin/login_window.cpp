#include "tools/qrtlogin/login_window.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <utility>

extern "C" { // which this header of glibc 2.36 forgets
#include <sys/pidfd.h>
}

#include "platform/catalogue.h"
#include "platform/prompt/window_environment.h"
#include "platform/prompt/window_start.h"
#include "platform/terminal_text.h"
#include "tools/own_folder.h"

static int64_t now() {
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1000000;
}

// ---- the start ----

// In the process between: what came of it, and the descriptor of the program's process.
static void hand_over(int channel, int error, int process) {
    iovec data = {&error, sizeof error};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof process)] = {};
    msghdr message = {};
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    if (process >= 0) {
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        cmsghdr *header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof process);
        memcpy(CMSG_DATA(header), &process, sizeof process);
    }
    sendmsg(channel, &message, MSG_NOSIGNAL);
}

static int take_over(int channel, Opened *process) {
    int error = ECHILD;
    iovec data = {&error, sizeof error};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message = {};
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    if (TEMP_FAILURE_RETRY(recvmsg(channel, &message, MSG_CMSG_CLOEXEC)) != sizeof error) return ECHILD;
    const cmsghdr *header = CMSG_FIRSTHDR(&message);
    if (header != nullptr && header->cmsg_type == SCM_RIGHTS) {
        int number = -1;
        memcpy(&number, CMSG_DATA(header), sizeof number);
        *process = Opened(number);
    }
    return error;
}

// By a process between, lest the command that this process becomes finds a child it does not know. An errno, or 0.
static int start_detached(const std::string &path, int conversation, Opened *process) {
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return errno;
    const Opened own(ends[0]);
    Opened others(ends[1]);
    const pid_t between = fork();
    if (between < 0) return errno;
    if (between == 0) {
        pid_t child = -1;
        const int error = window_spawn(path, conversation, &child);
        hand_over(others.number(), error, error == 0 ? pidfd_open(child, 0) : -1);
        _exit(EXIT_SUCCESS);
    }
    others = Opened(-1);
    const int error = take_over(own.number(), process);
    TEMP_FAILURE_RETRY(waitpid(between, nullptr, 0));
    return error;
}

static std::string program_path() {
    if (*login_window_program != '\0') return login_window_program;
    const std::string beside = own_folder() + "/qrt-login-window";
    return access(beside.c_str(), X_OK) == 0 ? beside : own_folder() + "/" PROGRAMS_FROM_PROGRAMS "/qrt-login-window";
}

LoginWindow::LoginWindow() {
    if (window_display_named())
        start();
    else
        lose(catalogue_text("there is no display"));
}

void LoginWindow::start() {
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) return lose(strerror(errno));
    socket_ = Opened(ends[0]);
    const Opened others(ends[1]);
    const std::string path = program_path();
    const int error = start_detached(path, others.number(), &process_);
    if (error != 0) lose(catalogue_format("cannot run %1$s: %2$s", path.c_str(), strerror(error)));
    listen();
}

// Also called by the thread that guards the run. The descriptor stays this one until the end: others use it.
void LoginWindow::lose(const std::string &reason) {
    if (isLost_.exchange(true)) return;
    if (process_.isOpen()) pidfd_send_signal(process_.number(), SIGKILL, nullptr, 0);
    if (socket_.isOpen()) shutdown(socket_.number(), SHUT_RDWR);
    const std::string line = catalogue_format("cannot show the login in a window: %s", reason.c_str());
    fprintf(stderr, "qrtlogin: %s\n", terminal_text(line).c_str());
}

// ---- to the window ----

void LoginWindow::tell(char kind, std::initializer_list<std::string_view> fields) {
    char packet[window_message_limit];
    const size_t size = login_message_write(kind, fields, packet);
    const int64_t end = now() + login_window_patience;
    while (isOpen()) {
        if (send(socket_.number(), packet, size, MSG_NOSIGNAL | MSG_DONTWAIT) >= 0) return;
        if (errno != EAGAIN && errno != EINTR && errno != ENOBUFS) return findEnd();
        pollfd room = {socket_.number(), POLLOUT, 0};
        const int64_t left = end - now();
        if (left <= 0) return lose(catalogue_text("the program with the window does not read what it is told"));
        poll(&room, 1, static_cast<int>(left));
    }
}

void LoginWindow::mention(char kind, std::initializer_list<std::string_view> fields) {
    if (!isOpen()) return;
    char packet[window_message_limit];
    send(socket_.number(), packet, login_message_write(kind, fields, packet), MSG_NOSIGNAL | MSG_DONTWAIT);
}

void LoginWindow::tellEnd(char how, std::string_view text) noexcept {
    mention('e', {{&how, 1}, text});
}

// ---- from the window ----

bool LoginWindow::receive(Secret *packet, LoginMessage *message, bool *isThere) {
    const ssize_t size =
        TEMP_FAILURE_RETRY(recv(socket_.number(), packet->text(), packet->capacity(), MSG_TRUNC | MSG_DONTWAIT));
    *isThere = size >= 0 || errno != EAGAIN;
    if (!*isThere) return false;
    if (size <= 0) {
        lose(catalogue_text("the program with the window has ended"));
        return false;
    }
    if (static_cast<size_t>(size) > packet->capacity() ||
        !login_message_read({packet->text(), static_cast<size_t>(size)}, LoginSide::window, message)) {
        lose(catalogue_text("the program with the window sent an answer that is not one"));
        return false;
    }
    if (message->kind == 'f') lose(std::string(message->fields[0]));
    lastSign_ = now();
    return message->kind != 'f';
}

// The program has ended, perhaps after it has said why.
void LoginWindow::findEnd() {
    Secret packet(window_message_limit);
    LoginMessage message;
    for (bool isThere = true; isOpen() && isThere;) receive(&packet, &message, &isThere);
}

void LoginWindow::listen() {
    lastSign_ = now();
}

int64_t LoginWindow::patienceLeft() const {
    if (!isOpen()) return INT64_MAX;
    return std::max<int64_t>(lastSign_ + login_window_patience - now(), 0);
}

bool LoginWindow::takeCancel() {
    Secret packet(window_message_limit);
    LoginMessage message;
    bool isThere = true;
    while (isOpen() && isThere)
        if (receive(&packet, &message, &isThere) && message.kind == 'c') return true;
    if (patienceLeft() == 0)
        lose(catalogue_format("the program with the window gave no sign of life for %d seconds",
                              login_window_patience / 1000));
    return false;
}

LoginAnswer LoginWindow::answerOf(const LoginMessage &message, LoginAsk what, std::string *name, Secret *password) {
    const bool wantsName = what == LoginAsk::name || what == LoginAsk::nameAndPassword;
    const std::string_view secret = message.fields[1];
    if (wantsName == message.fields[0].empty() || (what != LoginAsk::name) == secret.empty() ||
        secret.size() > password->capacity()) {
        lose(catalogue_text("the program with the window sent an answer that is not one"));
        return LoginAnswer::lost;
    }
    if (wantsName) name->assign(message.fields[0]);
    secret.copy(password->text(), secret.size());
    password->text()[secret.size()] = '\0';
    return LoginAnswer::given;
}

LoginAnswer LoginWindow::ask(LoginAsk what, const std::string &user, const std::string &reason, std::string *name,
                             Secret *password) {
    const char kind = static_cast<char>(what);
    tell('q', {{&kind, 1}, user, reason});
    Secret packet(window_message_limit);
    LoginMessage message;
    for (listen(); isOpen();) {
        pollfd came = {socket_.number(), POLLIN, 0};
        poll(&came, 1, static_cast<int>(std::min<int64_t>(patienceLeft(), INT_MAX)));
        bool isThere = false;
        if (receive(&packet, &message, &isThere)) {
            if (message.kind == 'l') return answerOf(message, what, name, password);
            if (message.kind == 'r') {
                isLost_ = true; // it closes by itself
                return LoginAnswer::cancelled;
            }
        }
        if (patienceLeft() == 0)
            lose(catalogue_format("the program with the window gave no sign of life for %d seconds",
                                  login_window_patience / 1000));
    }
    return LoginAnswer::lost;
}
