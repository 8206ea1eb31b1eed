// The prompts.
#include <cstring>

#include "tests/client_spy/spy_state.h"

using namespace spy;

int auxinit_g(void) {
    return static_cast<int>(record("auxinit_g", {}).value_or(0));
}

static int prompt(const char *name, const char *label, const char *defaultUser, char **user, char **password) {
    if (auto code = record(name, {shown(label), shown(defaultUser)})) return static_cast<int>(*code);
    if (state().prompts.empty()) return 1;
    PromptAnswer answer = state().prompts.front();
    state().prompts.pop_front();
    if (!answer.entered) return 1;
    *user = strdup(answer.user.c_str());
    *password = strdup(answer.password.c_str());
    if (state().keepTexts) state().texts.emplace_back(*user, *password);
    return 0;
}

int auxlogin_g(const char *label, const char *defaultUser, char **user, char **password) {
    return prompt("auxlogin_g", label, defaultUser, user, password);
}

int auxlogin_c(const char *label, const char *defaultUser, char **user, char **password) {
    return prompt("auxlogin_c", label, defaultUser, user, password);
}

static int next_answer(std::deque<int> &answers) {
    if (answers.empty()) return 0;
    int answer = answers.front();
    answers.pop_front();
    return answer;
}

int auxconfirm_g(const char *text, const char *icon, int buttons, int defaultButton) {
    bool numbered = false;
    if (auto answer =
            record("auxconfirm_g", {shown(text), shown(icon), shown(buttons), shown(defaultButton)}, &numbered))
        return numbered ? 0 : static_cast<int>(*answer);
    return next_answer(state().confirmations);
}

int auxpause_script(void) {
    if (auto answer = record("auxpause_script", {})) return static_cast<int>(*answer);
    return next_answer(state().pauses);
}
