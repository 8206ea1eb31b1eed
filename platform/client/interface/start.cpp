#include "platform/client/interface/start.h"

#include "platform/client/core/keeping.h"
#include "platform/client/core/waiting.h"
#include "platform/client/interface/answers.h"
#include "platform/client/interface/boundary.h"
#include "platform/client/session/trees.h"

static uint32_t make_ready() {
    return guarded(trees_configure);
}

uint32_t ZKCallsInit(void *, void *) {
    return make_ready();
}

uint32_t ZKCLXInit(void *, void *) {
    return make_ready();
}

uint32_t ZKKeepNothing(void) {
    keeping_is_off = true;
    return ZK_OK;
}

uint32_t ZKGetZKNetVersion(uint8_t *major, uint8_t *minor, uint8_t *revision, uint8_t *patch) {
    uint8_t *parts[] = {major, minor, revision, patch};
    for (const uint8_t *part : parts)
        if (part == nullptr) return ZKE_BAD_PARAMETER;
    for (int i = 0; i < 4; i++) *parts[i] = client_version[i];
    return ZK_OK;
}

uint32_t ZKSetPreferredDSTree(uint16_t length, const char *tree) {
    return guarded([&] {
        error_unless(tree != nullptr && length != 0, ZKE_BAD_PARAMETER);
        Tree *found = tree_find(std::string_view(tree, length));
        error_unless(found != nullptr, ZKE_TREE_NOT_FOUND);
        tree_prefer(found);
    });
}

uint32_t ZKGetLastErrorText(uint32_t size, char *text) {
    return guarded([&] {
        error_unless(text != nullptr && size != 0, ZKE_BAD_PARAMETER);
        put_text(std::string_view(error_kept()).substr(0, size - 1), size, text);
    });
}

uint32_t ZKSetWaitNotice(uint32_t milliseconds, ZKWaitNotice notice) {
    ldap_waiting_notice(std::chrono::milliseconds(milliseconds), notice);
    return ZK_OK;
}
