// Connections, paths, drives.
#include <cstring>

#include "platform/zk.h"
#include "tests/fuzz/world/answers.h"
#include "tests/fuzz/world/client_state.h"

// Fills the whole of a field, so that the NUL is missing from a text that is as long as it.
static void field_out(char *out, size_t size, std::string_view ordinary) {
    if (!out) return;
    const std::string_view text = answers_text(ordinary, size);
    memcpy(out, text.data(), text.size());
    if (text.size() < size) out[text.size()] = '\0';
}

static void text_out(char *out, size_t size, std::string_view ordinary) {
    if (!out) return;
    const std::string_view text = answers_text(ordinary, size - 1);
    memcpy(out, text.data(), text.size());
    out[text.size()] = '\0';
}

static uint32_t open_connection(uint32_t *connection) {
    const uint32_t code = answers_code();
    if (code == ZK_OK && connection) *connection = 101;
    return code;
}

uint32_t ZKParsePath(const char *path, char *server, uint32_t *connection, char *volume, char *rest) {
    client_text_in(path);
    if (const uint32_t code = open_connection(connection)) return code;
    text_out(server, ZK_SERVER_NAME_SIZE, "SRV1");
    text_out(volume, 65, "SYS");
    text_out(rest, 256, "public");
    return ZK_OK;
}

uint32_t ZKGetMappedDrives(void *buffer, uint32_t *size) {
    if (const uint32_t code = answers_code()) return code;
    if (!buffer) *size = std::min<uint32_t>(answers_number(64), 65536);
    return ZK_OK;
}

uint32_t ZKEnumMappedDrives(const void *, uint32_t *cursor, uint32_t *attribute, uint32_t localSize, char *localPath,
                            uint32_t targetSize, char *target) {
    if (const uint32_t code = answers_code()) return code;
    if (*cursor == 3) return ZKE_NO_MORE_ENTRIES;
    static constexpr std::string_view links[] = {"/home/fuzz/F", "/home/fuzz/G", "/home/fuzz/S1"};
    *attribute = 0;
    field_out(localPath, localSize, links[*cursor]);
    field_out(target, targetSize, "SRV1/SYS:public");
    ++*cursor;
    return ZK_OK;
}

uint32_t ZKCCOpenConnByName(uint32_t, const char *name, uint32_t, uint32_t, uint32_t, uint32_t *connection) {
    client_text_in(name);
    return open_connection(connection);
}

uint32_t ZKCCOpenConnByRef(uint32_t, uint32_t, uint32_t, uint32_t *connection) {
    return open_connection(connection);
}

uint32_t ZKCCScanConnInfo(uint32_t *, uint32_t, const void *value, uint32_t, uint32_t, uint32_t, void *,
                          uint32_t *connection) {
    client_text_in(static_cast<const char *>(value));
    return open_connection(connection);
}

uint32_t ZKCCGetConnInfo(uint32_t, uint32_t item, uint32_t size, void *value) {
    if (const uint32_t code = answers_code()) return code;
    auto *out = static_cast<char *>(value);
    if (item == ZK_INFO_TREE_NAME) {
        field_out(out, size, "ACME_TREE_______________________");
    } else if (item == ZK_INFO_SERVER_NAME) {
        field_out(out, size, "SRV1");
    } else {
        const uint32_t number = answers_number(1);
        memcpy(out, &number, std::min<size_t>(size, sizeof number));
    }
    return ZK_OK;
}

uint32_t ZKCCSetPrimConn(uint32_t) {
    return answers_code();
}

uint32_t ZKCCCloseConn(uint32_t) {
    return answers_code();
}

uint32_t ZKCCLicenseConn(uint32_t) {
    return answers_code();
}

uint32_t ZKCCUnlicenseConn(uint32_t) {
    return answers_code();
}

uint32_t ZKGetDefaultConnRef(uint32_t *reference) {
    const uint32_t code = answers_code();
    if (code == ZK_OK) *reference = 501;
    return code;
}

uint32_t ZKLoginToFileServer(uint32_t, const char *user, uint32_t, const char *password) {
    client_text_in(user);
    client_text_in(password);
    return answers_code();
}

uint32_t ZKSetPreferredDSTree(uint16_t length, const char *tree) {
    static_cast<void>(length);
    client_text_in(tree);
    return answers_code();
}
