// Files, paths, drives and connections.
#include <algorithm>
#include <cstring>

#include "tests/client_spy/spy_state.h"

using namespace spy;

uint32_t ZKReadFile(uint32_t file, uint32_t count, uint32_t *bytesRead, void *data) {
    if (auto code = record("ZKReadFile", {shown(file), shown(count)})) return *code;
    auto row = state().files.find(file);
    if (row == state().files.end()) {
        mistake("ZKReadFile of an unknown file");
        return ZKE_BAD_HANDLE;
    }
    OpenFile &open = row->second;
    size_t size = std::min(
        {static_cast<size_t>(count), static_cast<size_t>(state().readLimit), open.content.size() - open.position});
    memcpy(data, open.content.data() + open.position, size);
    open.position += size;
    *bytesRead = static_cast<uint32_t>(size);
    return ZK_OK;
}

uint32_t ZKCloseFile(uint32_t file) {
    if (auto code = record("ZKCloseFile", {shown(file)})) return *code;
    if (state().files.erase(file) == 1) return ZK_OK;
    mistake("ZKCloseFile of an unknown file");
    return ZKE_BAD_HANDLE;
}

uint32_t ZKParsePath(const char *path, char *server, uint32_t *connection, char *volume, char *rest) {
    if (auto code = record("ZKParsePath", {shown(path)})) return *code;
    auto row = state().paths.find(path ? path : "");
    if (row == state().paths.end()) return ZKE_SERVER_NOT_FOUND;
    copy_out(server, row->second.server);
    if (connection) *connection = row->second.connection;
    copy_out(volume, row->second.volume);
    copy_out(rest, row->second.rest);
    return ZK_OK;
}

// The list is a block of zero bytes, sixteen for each drive and sixteen more: only its size matters.
uint32_t ZKGetMappedDrives(void *buffer, uint32_t *size) {
    if (auto code = record("ZKGetMappedDrives", {buffer ? "buffer" : "null", shown(*size)})) return *code;
    auto needed = static_cast<uint32_t>(16 * state().drives.size() + 16);
    if (buffer && *size < needed) return ZKE_BUFFER_TOO_SMALL;
    if (buffer) memset(buffer, 0, needed);
    *size = needed;
    return ZK_OK;
}

static void copy_within(char *out, uint32_t size, const std::string &text) {
    if (size == 0) return;
    size_t length = std::min<size_t>(text.size(), size - 1);
    memcpy(out, text.data(), length);
    out[length] = '\0';
}

uint32_t ZKEnumMappedDrives(const void *buffer, uint32_t *cursor, uint32_t *attribute, uint32_t localSize,
                            char *localPath, uint32_t targetSize, char *target) {
    if (auto code = record("ZKEnumMappedDrives",
                           {buffer ? "buffer" : "null", shown(*cursor), shown(localSize), shown(targetSize)}))
        return *code;
    if (*cursor >= state().drives.size()) return ZKE_NO_MORE_ENTRIES;
    const auto &[local, remote] = state().drives[(*cursor)++];
    if (attribute) *attribute = 0;
    copy_within(localPath, localSize, local);
    copy_within(target, targetSize, remote);
    return ZK_OK;
}

static uint32_t open_connection(const std::string &serverName, const std::string &treeName) {
    uint32_t handle = state().nextConnection++;
    state().connections[handle] = fold(serverName);
    state().connectionTrees[handle] = treeName;
    return handle;
}

uint32_t ZKCCOpenConnByName(uint32_t start, const char *name, uint32_t nameFormat, uint32_t openState,
                            uint32_t transport, uint32_t *connection) {
    if (auto code = record("ZKCCOpenConnByName",
                           {shown(start), shown(name), shown(nameFormat), shown(openState), shown(transport)}))
        return *code;
    std::string key = fold(name ? name : "");
    if (auto row = state().servers.find(key); row != state().servers.end()) {
        *connection = open_connection(key, row->second.tree);
        return ZK_OK;
    }
    auto row = state().trees.find(key);
    if (nameFormat == ZK_NAME_FILE_SERVER || row == state().trees.end()) return ZKE_SERVER_NOT_FOUND;
    *connection = open_connection(row->second, state().treeSpelling[key]);
    return ZK_OK;
}

uint32_t ZKGetDefaultConnRef(uint32_t *reference) {
    if (auto code = record("ZKGetDefaultConnRef", {})) return *code;
    if (state().defaultServer.empty()) return ZKE_CONN_INVALID;
    *reference = state().nextReference++;
    state().references[*reference] = state().defaultServer;
    return ZK_OK;
}

uint32_t ZKCCOpenConnByRef(uint32_t reference, uint32_t openState, uint32_t reserved, uint32_t *connection) {
    if (auto code = record("ZKCCOpenConnByRef", {shown(reference), shown(openState), shown(reserved)})) return *code;
    auto row = state().references.find(reference);
    if (row == state().references.end()) return ZKE_CONN_INVALID;
    *connection = open_connection(row->second, state().servers[fold(row->second)].tree);
    return ZK_OK;
}

// A scan finds a connection that is open to the server of the given name.
uint32_t ZKCCScanConnInfo(uint32_t *iteration, uint32_t item, const void *value, uint32_t scanFlags, uint32_t openState,
                          uint32_t infoSize, void *info, uint32_t *connection) {
    const char *name = item == ZK_INFO_SERVER_NAME ? static_cast<const char *>(value) : nullptr;
    if (auto code = record("ZKCCScanConnInfo", {"iter " + shown(*iteration), shown(item), shown(name), shown(scanFlags),
                                                shown(openState), shown(infoSize), info ? "info" : "null"}))
        return *code;
    for (const auto &[handle, serverName] : state().connections) {
        if (!name || serverName != fold(name) || handle <= *iteration) continue;
        *iteration = handle;
        *connection = handle;
        return ZK_OK;
    }
    return ZKE_SERVER_NOT_FOUND;
}

static std::string number_bytes(uint32_t number) {
    return std::string(reinterpret_cast<const char *>(&number), sizeof number);
}

static std::string answer_to(uint32_t connection, uint32_t item) {
    const Server &row = state().servers[state().connections[connection]];
    std::string treeName = state().connectionTrees[connection];
    switch (item) {
        case ZK_INFO_AUTHENTICATION_STATE:
            return number_bytes(row.authenticated ? 1 : 0);
        case ZK_INFO_TREE_NAME:
            treeName.resize(ZK_TREE_NAME_SIZE - 1, '_');
            return treeName + '\0';
        case ZK_INFO_CONNECTION_NUMBER:
            return number_bytes(state().connectionNumber);
        case ZK_INFO_USER_NUMBER:
            return number_bytes(state().userNumber);
        case ZK_INFO_SERVER_NAME:
            return row.name + '\0';
        case ZK_INFO_COUNTED_STATE:
            return number_bytes(row.counted ? 1 : 0);
        default:
            mistake("unknown connection information item " + std::to_string(item));
            return "";
    }
}

uint32_t ZKCCGetConnInfo(uint32_t connection, uint32_t item, uint32_t size, void *value) {
    if (auto code = record("ZKCCGetConnInfo", {shown(connection), shown(item), shown(size)})) return *code;
    if (state().connections.count(connection) == 0) return ZKE_CONN_INVALID;
    auto given = state().itemAnswers.find(item);
    std::string answer = given == state().itemAnswers.end() ? answer_to(connection, item) : given->second;
    memcpy(value, answer.data(), std::min<size_t>(answer.size(), size));
    return ZK_OK;
}

static uint32_t known_connection(uint32_t connection) {
    return state().connections.count(connection) == 0 ? ZKE_CONN_INVALID : ZK_OK;
}

uint32_t ZKCCSetPrimConn(uint32_t connection) {
    if (auto code = record("ZKCCSetPrimConn", {shown(connection)})) return *code;
    return known_connection(connection);
}

uint32_t ZKCCCloseConn(uint32_t connection) {
    if (auto code = record("ZKCCCloseConn", {shown(connection)})) return *code;
    return state().connections.erase(connection) == 1 ? ZK_OK : ZKE_CONN_INVALID;
}

static uint32_t count_connection(uint32_t connection, bool yes) {
    if (known_connection(connection) != ZK_OK) return ZKE_CONN_INVALID;
    state().servers[state().connections[connection]].counted = yes;
    return ZK_OK;
}

uint32_t ZKCCLicenseConn(uint32_t connection) {
    if (auto code = record("ZKCCLicenseConn", {shown(connection)})) return *code;
    return count_connection(connection, true);
}

uint32_t ZKCCUnlicenseConn(uint32_t connection) {
    if (auto code = record("ZKCCUnlicenseConn", {shown(connection)})) return *code;
    return count_connection(connection, false);
}

uint32_t ZKLoginToFileServer(uint32_t connection, const char *user, uint32_t objectType, const char *password) {
    if (auto code = record("ZKLoginToFileServer", {shown(connection), shown(user), shown(objectType), shown(password)}))
        return *code;
    if (known_connection(connection) != ZK_OK) return ZKE_CONN_INVALID;
    if (!user || !account_known(user, password)) return ZKE_WRONG_PASSWORD;
    state().servers[state().connections[connection]].authenticated = true;
    return ZK_OK;
}

uint32_t ZKSetPreferredDSTree(uint16_t length, const char *tree) {
    return record("ZKSetPreferredDSTree", {shown(static_cast<uint32_t>(length)), shown(tree)}).value_or(ZK_OK);
}
