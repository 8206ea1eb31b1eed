// The texts of the prompts. They do not lie on the heap, so that it can be seen afterwards what became of them: ATTACH
// is required to keep them, TREE to free them, both to wipe the password.
#include <cstring>

#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/world/client.h"
#include "tests/fuzz/world/client_state.h"

static constexpr int most_texts = 16;

struct LentText {
    char text[client_text_size];
    bool secret, freed;
};
static LentText lent[most_texts];
static int lent_count;

void client_prompts_start() {
    lent_count = 0;
}

void client_prompts_check_end() {
    for (int i = 0; i < lent_count; i++) FUZZ_CHECK(!lent[i].secret || lent[i].text[0] == '\0');
}

bool client_may_lend(int count) {
    return lent_count + count <= most_texts;
}

char *client_lend(std::string_view text, bool secret) {
    FUZZ_CHECK(lent_count < most_texts && text.size() < client_text_size);
    LentText &one = lent[lent_count++];
    one.secret = secret;
    one.freed = false;
    memcpy(one.text, text.data(), text.size());
    one.text[text.size()] = '\0';
    return one.text;
}

// free() as the library calls it.
extern "C" void fuzz_free(void *block) {
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
