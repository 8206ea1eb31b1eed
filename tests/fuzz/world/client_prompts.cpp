// The prompts.
#include "platform/treelogin.h"
#include "tests/fuzz/world/answers.h"
#include "tests/fuzz/world/client.h"
#include "tests/fuzz/world/client_state.h"

void (*auxbefore_prompt)(void) = nullptr;
void (*auxafter_prompt)(void) = nullptr;

static int ask(char **user, char **password) {
    if (answers_exhausted() || !client_may_lend(2) || answers_byte() == '!') return 1;
    *user = client_lend(answers_text("jdoe.sales.acme", client_text_size - 1), false);
    *password = client_lend(answers_text("sunflower", client_text_size - 1), true);
    return 0;
}

int auxinit_g(void) {
    return 0;
}

int auxlogin_g(const char *label, const char *defaultUser, char **user, char **password) {
    client_text_in(label);
    client_text_in(defaultUser);
    return ask(user, password);
}

int auxlogin_c(const char *label, const char *defaultUser, char **user, char **password) {
    return auxlogin_g(label, defaultUser, user, password);
}

int auxconfirm_g(const char *text, const char *, int, int) {
    client_text_in(text);
    return static_cast<int>(answers_number(4));
}

int auxpause_script(void) {
    return static_cast<int>(answers_number(0));
}
