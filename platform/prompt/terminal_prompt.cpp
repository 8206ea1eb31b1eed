#include "platform/prompt/terminal_prompt.h"

#include <fcntl.h>
#include <poll.h>
#include <readpassphrase.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/catalogue.h"
#include "platform/terminal_text.h"
#include "platform/treelogin.h"

namespace {

constexpr int caught_signals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};
constexpr size_t caught_count = sizeof caught_signals / sizeof caught_signals[0];

volatile sig_atomic_t interrupted_by;

void note_signal(int signal) {
    interrupted_by = signal;
}

// While it lives, the signals that should break off a question end the wait for input (a program's own handler is
// usually installed so that reads go on). They are let in only during that wait, so that none slips in just before it.
// Afterwards the old handlers stand again and the signal is raised once more, for them.
class SignalCatcher {
  public:
    SignalCatcher() {
        interrupted_by = 0;
        struct sigaction catching = {};
        catching.sa_handler = note_signal;
        sigemptyset(&catching.sa_mask);
        sigset_t held;
        sigemptyset(&held);
        for (int signal : caught_signals) sigaddset(&held, signal);
        pthread_sigmask(SIG_BLOCK, &held, &mask_);
        for (size_t i = 0; i < caught_count; ++i) sigaction(caught_signals[i], &catching, &before_[i]);
    }
    ~SignalCatcher() {
        for (size_t i = 0; i < caught_count; ++i) sigaction(caught_signals[i], &before_[i], nullptr);
        pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
        if (interrupted_by != 0) raise(interrupted_by);
    }
    SignalCatcher(const SignalCatcher &) = delete;
    SignalCatcher &operator=(const SignalCatcher &) = delete;

    // Waits for input. False after one of the signals.
    bool waitFor(int descriptor) const {
        pollfd input = {descriptor, POLLIN, 0};
        int ready = -1;
        do {
            ready = ppoll(&input, 1, nullptr, &mask_);
        } while (ready < 0 && errno == EINTR && interrupted_by == 0);
        return ready > 0;
    }

  private:
    struct sigaction before_[caught_count];
    sigset_t mask_;
};

} // namespace

Answer::~Answer() {
    explicit_bzero(text_, sizeof text_);
}

char *answer_copy(const Answer &answer) {
    return strdup(answer.view().data());
}

static bool is_hidden(const TerminalLetter &letter) {
    return letter.code != '\n' && terminal_obeys(letter);
}

std::string terminal_safe_text(std::string_view text) {
    return terminal_text(text, is_hidden);
}

void (*auxbefore_prompt)(void) = nullptr;

Terminal::Terminal() : descriptor_(open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY)) {
    if (auxbefore_prompt != nullptr) auxbefore_prompt();
}

Terminal::~Terminal() {
    if (isOpen()) close(descriptor_);
}

void Terminal::show(std::string_view text) {
    std::string safe = terminal_safe_text(text);
    size_t done = 0;
    while (done < safe.size()) {
        ssize_t written = write(descriptor_, safe.data() + done, safe.size() - done);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;
        done += static_cast<size_t>(written);
    }
}

bool Terminal::askLine(std::string_view text, Answer *answer) {
    SignalCatcher catcher;
    show(text);
    size_t length = 0;
    char c = 0;
    for (;;) {
        if (!catcher.waitFor(descriptor_) || read(descriptor_, &c, 1) != 1) return false;
        if (c == '\n') break;
        if (length < Answer::capacity) answer->data()[length] = c;
        ++length;
    }
    if (length > Answer::capacity) return false;
    answer->data()[length] = '\0';
    return true;
}

bool Terminal::askPassword(std::string_view text, Answer *answer) {
    std::string prompt = terminal_safe_text(text);
    if (readpassphrase(prompt.c_str(), answer->data(), answer->size(), RPP_REQUIRE_TTY) == nullptr) return false;
    // The end of input reads like an empty line here, and a full buffer may have been cut: neither is a password.
    return !answer->empty() && answer->view().size() < Answer::capacity;
}

// A default such as "<username>" only stands for a name that nobody knows yet: it is not offered.
static bool login_is_placeholder(std::string_view name) {
    return !name.empty() && name.front() == '<' && name.back() == '>';
}

// Asks until there is a name; an empty line takes the offered one.
static bool login_ask_name(Terminal *terminal, const std::string &offered, Answer *name) {
    std::string question =
        offered.empty() ? catalogue_text("User name: ") : catalogue_format("User name [%s]: ", offered.c_str());
    do {
        if (!terminal->askLine(question, name)) return false;
        if (name->empty()) memcpy(name->data(), offered.c_str(), offered.size() + 1);
    } while (name->empty());
    return true;
}

static int login_ask(const char *label, const char *defaultUser, char **user, char **password) {
    Terminal terminal;
    if (!terminal.isOpen()) return 1;
    std::string offered = defaultUser != nullptr ? defaultUser : "";
    if (login_is_placeholder(offered) || offered.size() > Answer::capacity) offered.clear();
    if (label != nullptr && *label != '\0') terminal.show(std::string(label) + "\n");

    Answer name, secret;
    if (!login_ask_name(&terminal, offered, &name)) return 1;
    if (!terminal.askPassword(catalogue_text("Password: "), &secret)) return 1;

    char *newUser = answer_copy(name);
    char *newPassword = answer_copy(secret);
    if (newUser == nullptr || newPassword == nullptr) {
        free(newUser);
        if (newPassword != nullptr) explicit_bzero(newPassword, strlen(newPassword));
        free(newPassword);
        return 1;
    }
    *user = newUser;
    *password = newPassword;
    return 0;
}

int auxlogin_c(const char *label, const char *defaultUser, char **user, char **password) try {
    return login_ask(label, defaultUser, user, password);
} catch (const std::bad_alloc &) {
    return 1;
}
