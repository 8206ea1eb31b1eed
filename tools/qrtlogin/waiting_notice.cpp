#include "tools/qrtlogin/waiting_notice.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <exception>
#include <string>

#include "platform/catalogue.h"
#include "platform/terminal_text.h"
#include "platform/zk.h"
#include "tools/qrtlogin/login_window.h"
#include "tools/qrtlogin/output_relay.h"

static constexpr uint32_t after_milliseconds = 2000;

static int terminal = -1;
static bool is_shown = false;
static LoginWindow *login_window = nullptr;

// A line that goes over into the next one could not be taken away.
static std::string fitting(const std::string &text) {
    winsize window = {};
    const bool known = ioctl(terminal, TIOCGWINSZ, &window) == 0 && window.ws_col > 0;
    int left = known ? window.ws_col - 1 : 79;
    std::mbstate_t state = {};
    size_t end = 0;
    while (end < text.size()) {
        wchar_t letter = L'\0';
        const size_t length = std::mbrtowc(&letter, text.data() + end, text.size() - end, &state);
        if (length == 0 || length > text.size()) break;
        left -= std::max(wcwidth(letter), 0);
        if (left < 0) break;
        end += length;
    }
    return text.substr(0, end);
}

static void put(const std::string &text) {
    [[maybe_unused]] const ssize_t written = write(terminal, text.data(), text.size());
}

static bool cursor_moves() {
    const char *kind = getenv("TERM");
    return kind != nullptr && *kind != '\0' && strcmp(kind, "dumb") != 0;
}

static void show_in_window(const char *server) {
    const std::string text = server == nullptr ? "" : catalogue_format("Waiting for %s ...", server);
    login_window->mention('n', {"", text});
}

// Saves the cursor's place, and later clears from there: what stood on the line before the notice stays.
static void show(const char *server) {
    std::string text;
    if (is_shown) text = cursor_moves() ? "\0338\033[K" : "\n";
    is_shown = server != nullptr;
    if (server != nullptr) {
        // What the scripts have written comes first.
        OutputRelay::catchUp();
        if (cursor_moves()) text += "\0337";
        text += fitting(catalogue_format("Waiting for %s ...", terminal_text(server).c_str()));
    }
    put(text);
}

// Called by the client, which takes no exception.
static void notice(const char *server) noexcept {
    try {
        if (login_window != nullptr) return show_in_window(server);
        show(server);
    } catch (const std::exception &) {
        // Without memory there is no notice.
    }
}

WaitingNotice::WaitingNotice(LoginWindow *shown) {
    login_window = shown != nullptr && shown->isOpen() ? shown : nullptr;
    if (login_window != nullptr) ZKSetWaitNotice(after_milliseconds, notice);
    if (login_window != nullptr || isatty(STDERR_FILENO) == 0) return;
    terminal = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (terminal >= 0) ZKSetWaitNotice(after_milliseconds, notice);
}

WaitingNotice::~WaitingNotice() {
    if (terminal < 0 && login_window == nullptr) return;
    login_window = nullptr;
    ZKSetWaitNotice(0, nullptr);
    if (terminal >= 0) close(terminal);
    terminal = -1;
}
