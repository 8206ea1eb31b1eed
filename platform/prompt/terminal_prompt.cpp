#include "platform/prompt/terminal_prompt.h"

#include <bsd/readpassphrase.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "platform/catalogue.h"
#include "platform/common/late_library.h"
#include "platform/common/write_all.h"
#include "platform/terminal_text.h"
#include "platform/treelogin.h"

static volatile sig_atomic_t interrupted_by;

static void note_signal(int signal) {
    interrupted_by = signal;
}

namespace {

// While it lives, the signals that should break off a question end the wait for input (a program's own handler is
// usually installed so that reads go on). They are let in only during that wait, so that none slips in just before it.
// Afterwards the old handlers stand again and the signal is raised once more, for them.
class SignalCatcher {
  public:
    SignalCatcher() {
        interrupted_by = 0;
        struct sigaction catching = {};
        catching.sa_handler = note_signal;
        sigset_t held = {};
        for (const auto &one : caught_) sigaddset(&held, one.first);
        pthread_sigmask(SIG_BLOCK, &held, &mask_);
        for (auto &[number, before] : caught_) sigaction(number, &catching, &before);
    }
    ~SignalCatcher() {
        for (const auto &[number, before] : caught_) sigaction(number, &before, nullptr);
        pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
        raise(interrupted_by); // 0 is no signal
    }
    SignalCatcher(const SignalCatcher &) = delete;
    SignalCatcher &operator=(const SignalCatcher &) = delete;

    // Waits for input. False after one of the signals.
    bool waitFor(int descriptor) const {
        pollfd input = {};
        input.fd = descriptor;
        input.events = POLLIN;
        while (ppoll(&input, 1, nullptr, &mask_) == -1)
            if (errno != EINTR || interrupted_by != 0) return false;
        return true;
    }

  private:
    // Each with its old handler.
    std::pair<int, struct sigaction> caught_[4] = {{SIGHUP, {}}, {SIGINT, {}}, {SIGQUIT, {}}, {SIGTERM, {}}};
    sigset_t mask_;
};

} // namespace

char *answer_copy(const Secret &answer) {
    return strdup(answer.text());
}

static bool is_hidden(const TerminalLetter &letter) {
    return letter.code != '\n' && terminal_obeys(letter);
}

std::string terminal_safe_text(std::string_view text) {
    return terminal_text(text, is_hidden);
}

void (*auxbefore_prompt)(void) = nullptr;
void (*auxafter_prompt)(void) = nullptr;

Terminal::Terminal() : descriptor_(open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY)) {
    if (auxbefore_prompt != nullptr) auxbefore_prompt();
}

Terminal::~Terminal() {
    close(descriptor_); // -1 is none
    if (auxafter_prompt != nullptr) auxafter_prompt();
}

void Terminal::show(std::string_view text) {
    write_all(descriptor_, terminal_safe_text(text));
}

bool Terminal::askLine(std::string_view text, Secret *answer) {
    SignalCatcher catcher;
    show(text);
    size_t length = 0;
    char c = '\0';
    for (;;) {
        if (!catcher.waitFor(descriptor_) || read(descriptor_, &c, 1) != 1) return false;
        if (c == '\n') break;
        answer->text()[std::min(length, answer->capacity())] = c;
        ++length;
    }
    if (length > answer->capacity()) return false;
    answer->text()[length] = '\0';
    return true;
}

bool Terminal::askPassword(std::string_view text, Secret *answer) {
    const auto reader = late_function<decltype(readpassphrase)>(LIBBSD_SONAME, "readpassphrase");
    if (reader == nullptr) {
        show(catalogue_format("cannot load a library: %s", dlerror()) + "\n");
        return false;
    }
    std::string prompt = terminal_safe_text(text);
    const char *got = reader(prompt.c_str(), answer->text(), answer->capacity() + 1, RPP_REQUIRE_TTY);
    // The end of input reads like an empty line here, and a full buffer may have been cut: neither is a password.
    return got != nullptr && !answer->empty() && strlen(answer->text()) < answer->capacity();
}

// A default such as "<username>" only stands for a name that is not known yet: it is not offered.
static bool login_is_placeholder(std::string_view name) {
    return !name.empty() && name.front() == '<' && name.back() == '>';
}

// Asks until there is a name; an empty line takes the offered one.
static bool login_ask_name(Terminal *terminal, const std::string &offered, Secret *name) {
    std::string question =
        offered.empty() ? catalogue_text("User name: ") : catalogue_format("User name [%s]: ", offered.c_str());
    do {
        if (!terminal->askLine(question, name)) return false;
        if (name->empty()) name->text()[offered.copy(name->text(), name->capacity())] = '\0';
    } while (name->empty());
    return true;
}

static int login_ask(const char *label, const char *defaultUser, char **user, char **password) {
    Terminal terminal;
    if (!terminal.isOpen()) return 1;
    std::string offered = defaultUser != nullptr ? defaultUser : "";
    if (login_is_placeholder(offered) || offered.size() > Secret::usual_capacity) offered.clear();
    if (label != nullptr && *label != '\0') terminal.show(std::string(label) + "\n");

    Secret name, secret;
    if (!login_ask_name(&terminal, offered, &name)) return 1;
    if (!terminal.askPassword(catalogue_text("Password: "), &secret)) return 1;

    std::unique_ptr<char, decltype(&free)> newUser(answer_copy(name), free);
    char *newPassword = newUser != nullptr ? answer_copy(secret) : nullptr;
    if (newPassword == nullptr) return 1;
    *user = newUser.release();
    *password = newPassword;
    return 0;
}

int auxlogin_c(const char *label, const char *defaultUser, char **user, char **password) try {
    return login_ask(label, defaultUser, user, password);
} catch (const std::bad_alloc &) {
    return 1;
}
