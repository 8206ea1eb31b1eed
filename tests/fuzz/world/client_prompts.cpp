// The prompts. Their texts do not lie on the heap, so that it can be seen afterwards what became of them: ATTACH is
// required to keep them, TREE to free them, both to wipe the password.
#include <cstring>

#include "platform/treelogin.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/world/answers.h"
#include "tests/fuzz/world/client.h"
#include "tests/fuzz/world/client_state.h"

static constexpr int most_texts = 16;
static constexpr size_t text_size = 1026;

struct LentText {
    char text[text_size];
    bool secret, freed;
};
static LentText lent[most_texts];
static int lent_count;

void (*auxbefore_prompt)(void) = nullptr;
void (*auxafter_prompt)(void) = nullptr;

void client_prompts_start() {
    lent_count = 0;
}

void client_prompts_check_end() {
    for (int i = 0; i < lent_count; i++) FUZZ_CHECK(!lent[i].secret || lent[i].text[0] == '\0');
}

char *client_lend(std::string_view text, bool secret) {
    FUZZ_CHECK(lent_count < most_texts && text.size() < text_size);
    LentText &one = lent[lent_count++];
    one.secret = secret;
    one.freed = false;
    memcpy(one.text, text.data(), text.size());
    one.text[text.size()] = '\0';
    return one.text;
}

// free() as the library calls it.
extern "C" void fuzz_free(void *block);
void fuzz_free(void *block) {
    const auto at = reinterpret_cast<uintptr_t>(block);
    const auto first = reinterpret_cast<uintptr_t>(lent);
    if (at < first || at >= first + sizeof lent) {
        free(block);
        return;
    }
    LentText &one = lent[(at - first) / sizeof(LentText)];
    FUZZ_CHECK(block == one.text && !one.freed && &one < lent + lent_count);
    FUZZ_CHECK(!one.secret || one.text[0] == '\0');
    one.freed = true;
}

static int ask(char **user, char **password) {
    if (answers_exhausted() || lent_count + 2 > most_texts || answers_byte() == '!') return 1;
    *user = client_lend(answers_text("jdoe.sales.acme", text_size - 1), false);
    *password = client_lend(answers_text("sunflower", text_size - 1), true);
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
