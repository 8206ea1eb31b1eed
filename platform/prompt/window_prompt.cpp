// The window prompts of a system without a window toolkit: each question is asked on the terminal instead. A process
// without a terminal cannot ask: it gets "no" to a question, and everything else fails.
#include <strings.h>
#include <initializer_list>
#include <new>

#include "platform/catalogue.h"
#include "platform/prompt/terminal_prompt.h"
#include "platform/treelogin.h"

// The answer that stands for the "yes" button.
static constexpr int confirm_yes = 4;
static constexpr int confirm_no = 0;

int auxinit_g(void) {
    Terminal terminal;
    return terminal.isOpen() ? 0 : 1;
}

int auxlogin_g(const char *label, const char *defaultUser, char **user, char **password) {
    return auxlogin_c(label, defaultUser, user, password);
}

// Whether the person typed one of the words, in any letter case.
static bool confirm_says(const Secret &answer, std::initializer_list<const char *> words) {
    for (const char *word : words)
        if (strcasecmp(answer.text(), word) == 0) return true;
    return false;
}

// Asks until the answer is a clear yes or no.
static int confirm_ask(const char *text) {
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

// Icon, buttons and default button describe a window; on the terminal only an explicit yes is one.
int auxconfirm_g(const char *text, const char *, int, int) try {
    return confirm_ask(text);
} catch (const std::bad_alloc &) {
    return confirm_no;
}

int auxpause_script(void) try {
    Terminal terminal;
    if (!terminal.isOpen()) return 1;
    Secret answer;
    return terminal.askLine(catalogue_text("Press Enter to continue: "), &answer) ? 0 : 1;
} catch (const std::bad_alloc &) {
    return 1;
}
