#include "platform/prompt/terminal_prompt.h"

#include <bsd/readpassphrase.h>
#include <fcntl.h>
#include <unistd.h>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "platform/catalogue.h"
#include "platform/common/late_library.h"
#include "platform/common/write_all.h"
#include "platform/prompt/signal_catcher.h"
#include "platform/terminal_text.h"
#include "platform/treelogin.h"

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
        if (catcher.waitFor(descriptor_) != SignalCatcher::Wait::input || read(descriptor_, &c, 1) != 1) return false;
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

std::string login_offered_name(const char *defaultUser) {
    const std::string_view name = defaultUser != nullptr ? defaultUser : "";
    const bool isPlaceholder = !name.empty() && name.front() == '<' && name.back() == '>';
    return std::string(isPlaceholder || name.size() > Secret::usual_capacity ? "" : name);
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
    const std::string offered = login_offered_name(defaultUser);
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
