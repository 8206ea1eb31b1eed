// The window prompts. Each question is asked in a window if a display can be opened, otherwise on the terminal; a
// process without either cannot ask: it gets "no" to a question, and everything else fails.
#include <fcntl.h>
#include <strings.h>
#include <unistd.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <new>
#include <utility>

#include "platform/catalogue.h"
#include "platform/common/opened.h"
#include "platform/common/write_all.h"
#include "platform/prompt/terminal_prompt.h"
#include "platform/prompt/window_environment.h"
#include "platform/prompt/window_process.h"
#include "platform/terminal_text.h"
#include "platform/treelogin.h"

// The answer that stands for the "yes" button.
static constexpr int confirm_yes = 4;
static constexpr int confirm_no = 0;

int auxwindows = 1;

namespace {

// A question in a window, with the caller's functions before and after it.
class WindowQuestion {
  public:
    WindowQuestion(WindowAsk ask, const char *subject) : packet_(window_message_limit) {
        request_.ask = ask;
        request_.subject = subject != nullptr ? subject : "";
        request_.program = program_invocation_short_name;
    }

    void offer(std::string name) { request_.user = std::move(name); }

    // Whether a display can be opened, about which nothing is reported: the question to come will be.
    bool hasDisplay() {
        std::string reason;
        return isWanted() && window_ask(request_, &packet_, &answer_, &reason) == WindowOutcome::accepted;
    }

    // Reports why there is no window where one should be.
    WindowOutcome ask() {
        if (!isWanted()) return WindowOutcome::failed;
        if (auxbefore_prompt != nullptr) auxbefore_prompt();
        std::string reason;
        const WindowOutcome outcome = window_ask(request_, &packet_, &answer_, &reason);
        if (auxafter_prompt != nullptr) auxafter_prompt();
        if (outcome == WindowOutcome::failed) report(reason);
        return outcome;
    }

    // Whether the question that failed in a window can be asked on a terminal. If not, that nobody was asked is
    // reported, too, so that it can be told from a refusal.
    bool goesToTerminal() {
        if (Opened(open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY)).isOpen()) return true;
        if (auxwindows != 0 && !isReported_) report(catalogue_text("there is neither a display nor a terminal"));
        return false;
    }

    const WindowAnswer &answer() const { return answer_; }

  private:
    static bool isWanted() { return auxwindows != 0 && window_display_named(); }
    void report(const std::string &reason) {
        const std::string line = catalogue_format("cannot ask in a window: %s", reason.c_str());
        write_all(STDERR_FILENO, std::string(program_invocation_short_name) + ": " + terminal_text(line) + "\n");
        isReported_ = true;
    }

    WindowRequest request_;
    Secret packet_;
    WindowAnswer answer_;
    bool isReported_ = false;
};

} // namespace

int auxinit_g(void) try {
    return WindowQuestion(WindowAsk::display, nullptr).hasDisplay() ? 0 : 1;
} catch (const std::bad_alloc &) {
    return 1;
}

static int login_answer(const WindowAnswer &answer, char **user, char **password) {
    const auto copy = [](std::string_view text) { return strndup(text.data(), text.size()); };
    std::unique_ptr<char, decltype(&free)> newUser(copy(answer.text), free);
    char *newPassword = newUser != nullptr ? copy(answer.secret) : nullptr;
    if (newPassword == nullptr) return 1;
    *user = newUser.release();
    *password = newPassword;
    return 0;
}

static int login_ask(const char *label, const char *defaultUser, char **user, char **password) {
    WindowQuestion question(WindowAsk::login, label);
    question.offer(login_offered_name(defaultUser));
    const WindowOutcome outcome = question.ask();
    if (outcome == WindowOutcome::accepted) return login_answer(question.answer(), user, password);
    if (outcome == WindowOutcome::refused || !question.goesToTerminal()) return 1;
    return auxlogin_c(label, defaultUser, user, password);
}

int auxlogin_g(const char *label, const char *defaultUser, char **user, char **password) try {
    return login_ask(label, defaultUser, user, password);
} catch (const std::bad_alloc &) {
    return 1;
}

// Whether the person typed one of the words, in any letter case.
static bool confirm_says(const Secret &answer, std::initializer_list<const char *> words) {
    for (const char *word : words)
        if (strcasecmp(answer.text(), word) == 0) return true;
    return false;
}

// Asks until the answer is a clear yes or no.
static int confirm_ask_terminal(const char *text) {
    Terminal terminal;
    if (!terminal.isOpen()) return confirm_no;
    const std::string question = catalogue_format("%s (y/n) ", text != nullptr ? text : "");
    for (;;) {
        Secret answer;
        if (!terminal.askLine(question, &answer)) return confirm_no;
        // TRANSLATORS: what a person types for yes and for no: a letter, or the word.
        if (confirm_says(answer, {"y", "yes", catalogue_text("y"), catalogue_text("yes")})) return confirm_yes;
        if (confirm_says(answer, {"n", "no", catalogue_text("n"), catalogue_text("no")})) return confirm_no;
    }
}

static int confirm_ask(const char *text, int defaultButton) {
    WindowQuestion question(defaultButton == confirm_yes ? WindowAsk::confirmYes : WindowAsk::confirm, text);
    const WindowOutcome outcome = question.ask();
    if (outcome == WindowOutcome::accepted) return confirm_yes;
    if (outcome == WindowOutcome::refused || !question.goesToTerminal()) return confirm_no;
    return confirm_ask_terminal(text);
}

// A question has the buttons "yes" and "no", whichever a caller chooses: on the terminal, too, only an explicit yes is
// one. The window has the icon of a question.
int auxconfirm_g(const char *text, const char *, int, int defaultButton) try {
    return confirm_ask(text, defaultButton);
} catch (const std::bad_alloc &) {
    return confirm_no;
}

static int pause_ask() {
    WindowQuestion question(WindowAsk::pause, nullptr);
    const WindowOutcome outcome = question.ask();
    if (outcome == WindowOutcome::accepted) return 0;
    if (outcome == WindowOutcome::refused || !question.goesToTerminal()) return 1;
    Terminal terminal;
    if (!terminal.isOpen()) return 1;
    Secret answer;
    return terminal.askLine(catalogue_text("Press Enter to continue: "), &answer) ? 0 : 1;
}

int auxpause_script(void) try { return pause_ask(); } catch (const std::bad_alloc &) {
    return 1;
}
