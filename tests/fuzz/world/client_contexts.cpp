// Contexts, identity and names.
#include <algorithm>
#include <cstring>

#include "platform/zk.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/world/answers.h"
#include "tests/fuzz/world/client.h"
#include "tests/fuzz/world/client_state.h"

static constexpr uint32_t most_contexts = 512;
static bool context_freed[most_contexts];
static uint32_t contexts_made;
static uint32_t flags;

void client_context_used(uint32_t context) {
    FUZZ_CHECK(context > contexts_made || !context_freed[context]);
}

uint32_t client_code(uint32_t context) {
    client_context_used(context);
    return answers_code();
}

void client_name_out(char *out, std::string_view ordinary) {
    if (!out) return;
    const std::string_view text = answers_text(ordinary, ZK_MAX_NAME);
    memcpy(out, text.data(), text.size());
    out[text.size()] = '\0';
}

size_t client_text_in(const char *text) {
    return text ? strlen(text) : 0;
}

uint32_t client_start() {
    std::fill(context_freed, context_freed + contexts_made + 1, false);
    contexts_made = 1;
    flags = 0;
    client_buffers_start();
    client_prompts_start();
    return 1;
}

void client_check_end() {
    client_buffers_check_end();
    client_prompts_check_end();
}

uint32_t ZKCallsInit(void *, void *) {
    return answers_code();
}

uint32_t ZKCLXInit(void *, void *) {
    return answers_code();
}

uint32_t ZKGetZKNetVersion(uint8_t *major, uint8_t *minor, uint8_t *revision, uint8_t *patch) {
    for (uint8_t *field : {major, minor, revision, patch}) *field = static_cast<uint8_t>(answers_number(3));
    return ZK_OK;
}

uint32_t ZKGetLastErrorText(uint32_t size, char *text) {
    if (size > 0) text[0] = '\0';
    return ZK_OK;
}

uint32_t ZKDSCreateContextHandle(uint32_t *context) {
    if (const uint32_t code = answers_code()) return code;
    if (contexts_made + 1 == most_contexts) return ZKE_NO_MEMORY;
    context_freed[++contexts_made] = false;
    *context = contexts_made;
    return ZK_OK;
}

uint32_t ZKDSFreeContext(uint32_t context) {
    client_context_used(context);
    if (context <= contexts_made) context_freed[context] = true;
    return answers_code();
}

uint32_t ZKDSSetContext(uint32_t context, int key, const void *value) {
    client_context_used(context);
    if (key == DCK_FLAGS) flags = *static_cast<const uint32_t *>(value);
    if (key == DCK_TREE_NAME || key == DCK_NAME_CONTEXT) client_text_in(static_cast<const char *>(value));
    return answers_code();
}

uint32_t ZKDSGetContext(uint32_t context, int key, void *value) {
    if (const uint32_t code = client_code(context)) return code;
    if (key == DCK_FLAGS)
        memcpy(value, &flags, sizeof flags);
    else if (key == DCK_LAST_CONNECTION)
        memset(value, 1, sizeof(uint32_t));
    else
        client_name_out(static_cast<char *>(value), key == DCK_TREE_NAME ? "ACME_TREE" : "sales.acme");
    return ZK_OK;
}

uint32_t ZKDSWhoAmI(uint32_t context, char *name) {
    const uint32_t code = client_code(context);
    if (code == ZK_OK) client_name_out(name, "CN=jdoe.OU=sales.O=acme");
    return code;
}

uint32_t ZKDSCanDSAuthenticate(uint32_t context) {
    client_context_used(context);
    return answers_number(1);
}

uint32_t ZKDSLoginEx(uint32_t context, const char *object, uint32_t, const char *password) {
    client_text_in(object);
    client_text_in(password);
    return client_code(context);
}

uint32_t ZKDSLogout(uint32_t context) {
    return client_code(context);
}

uint32_t ZKDSAuthenticateConnEx(uint32_t context, uint32_t) {
    return client_code(context);
}

uint32_t ZKDSCanonicalizeName(uint32_t context, const char *name, char *canonical) {
    client_text_in(name);
    const uint32_t code = client_code(context);
    if (code == ZK_OK) client_name_out(canonical, name);
    return code;
}

uint32_t ZKDSAbbreviateName(uint32_t context, const char *name, char *abbreviated) {
    client_text_in(name);
    const uint32_t code = client_code(context);
    if (code == ZK_OK) client_name_out(abbreviated, name);
    return code;
}
