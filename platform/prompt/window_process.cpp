#include "platform/prompt/window_process.h"

#include <dlfcn.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <utility>

extern "C" { // which this header of glibc 2.36 forgets
#include <sys/pidfd.h>
}

#include "platform/catalogue.h"
#include "platform/common/opened.h"
#include "platform/prompt/signal_catcher.h"
#include "platform/prompt/window_start.h"

namespace {

// The running program. Its process is held by a descriptor, so that no other is ever taken for it, whatever the
// caller's own handling of its children does.
class WindowProcess {
  public:
    // For `child` that has just been started; `socket` is this side of the conversation.
    WindowProcess(pid_t child, Opened socket)
        : child_(child), process_(pidfd_open(child, 0)), socket_(std::move(socket)) {
        if (!process_.isOpen() && errno == ESRCH) child_ = -1; // it has ended, and the caller ignores its children
    }
    ~WindowProcess() { end(); }
    WindowProcess(const WindowProcess &) = delete;
    WindowProcess &operator=(const WindowProcess &) = delete;

    int socket() const { return socket_.number(); }
    void kill() const {
        if (process_.isOpen())
            pidfd_send_signal(process_.number(), SIGKILL, nullptr, 0);
        else if (child_ > 0)
            ::kill(child_, SIGKILL);
    }
    // Waits for its end, which the end of the conversation brings about. Its status as of waitpid, or 0 if the caller
    // has taken it.
    int end() {
        socket_ = Opened(-1);
        if (!endsByItself()) kill();
        int status = 0;
        while (child_ > 0 && waitpid(child_, &status, 0) < 0 && errno == EINTR) {
        }
        child_ = -1;
        return status;
    }

  private:
    bool endsByItself() const {
        constexpr int patience = 3 * window_beat_milliseconds;
        pollfd ended = {process_.number(), POLLIN, 0};
        int ready = 0;
        do {
            ready = process_.isOpen() ? poll(&ended, 1, patience) : 0;
        } while (ready < 0 && errno == EINTR);
        return ready > 0;
    }

    pid_t child_; // -1: none any more
    Opened process_;
    Opened socket_;
};

} // namespace

// Beside this library where that was built, in a folder of its own where it was installed. An errno, or 0.
static int window_start(const Opened &conversation, std::string *path, pid_t *child) {
    if (*window_program != '\0') return window_spawn(*path = window_program, conversation.number(), child);
    Dl_info own = {};
    dladdr(reinterpret_cast<const void *>(&window_start), &own);
    std::string folder = own.dli_fname == nullptr ? "" : own.dli_fname;
    if (folder.empty() || folder.front() != '/') return ENOENT; // the working folder may have changed since
    folder.erase(folder.rfind('/') + 1);
    int error = ENOENT;
    for (const char *place : {"", PROGRAMS_FROM_LIBRARIES "/"}) {
        *path = folder + place + "qrt-prompt-window";
        error = window_spawn(*path, conversation.number(), child);
        if (error != ENOENT) break;
    }
    return error;
}

static std::string window_end_reason(int status) {
    if (WIFSIGNALED(status))
        return catalogue_format("the program with the window was ended by signal %d", WTERMSIG(status));
    return catalogue_format("the program with the window ended with status %d", WEXITSTATUS(status));
}

// Receives one packet that is a valid answer. Nothing is received at the end of the conversation.
static bool window_receive(int socket, WindowAsk ask, Secret *packet, WindowAnswer *answer, bool *ended) {
    ssize_t size = 0;
    do {
        size = recv(socket, packet->text(), packet->capacity(), MSG_TRUNC | MSG_DONTWAIT);
    } while (size < 0 && errno == EINTR);
    *ended = size <= 0;
    return size > 0 && static_cast<size_t>(size) <= packet->capacity() &&
           window_answer_read({packet->text(), static_cast<size_t>(size)}, ask, answer);
}

static WindowOutcome window_converse(WindowProcess *process, WindowAsk ask, Secret *packet, WindowAnswer *answer,
                                     std::string *reason) {
    const SignalCatcher catcher;
    for (int missed = 0; missed < window_missed_beats; ++missed) {
        const SignalCatcher::Wait came = catcher.waitFor(process->socket(), window_beat_milliseconds);
        if (came == SignalCatcher::Wait::signal) return WindowOutcome::refused;
        if (came == SignalCatcher::Wait::timeout) continue;
        bool ended = false;
        if (!window_receive(process->socket(), ask, packet, answer, &ended)) {
            if (!ended) process->kill();
            *reason = ended ? window_end_reason(process->end())
                            : catalogue_text("the program with the window sent an answer that is not one");
            return WindowOutcome::failed;
        }
        if (answer->says == WindowSays::accepted) return WindowOutcome::accepted;
        if (answer->says == WindowSays::refused) return WindowOutcome::refused;
        if (answer->says == WindowSays::failed) {
            reason->assign(answer->text);
            return WindowOutcome::failed;
        }
        missed = -1;
    }
    process->kill();
    *reason = catalogue_format("the program with the window gave no sign of life for %d seconds",
                               window_missed_beats * window_beat_milliseconds / 1000);
    return WindowOutcome::failed;
}

WindowOutcome window_ask(const WindowRequest &request, Secret *packet, WindowAnswer *answer, std::string *reason) {
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        *reason = strerror(errno);
        return WindowOutcome::failed;
    }
    Opened own(ends[0]), others(ends[1]);
    std::string path;
    pid_t child = -1;
    const int error = window_start(others, &path, &child);
    if (error != 0) {
        *reason = catalogue_format("cannot run %1$s: %2$s", path.c_str(), strerror(error));
        return WindowOutcome::failed;
    }
    others = Opened(-1);
    WindowProcess process(child, std::move(own));
    const std::string question = window_request_write(request);
    // A program that has ended already shows in what is received.
    send(process.socket(), question.data(), question.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    return window_converse(&process, request.ask, packet, answer, reason);
}
