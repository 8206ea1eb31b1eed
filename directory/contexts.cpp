#include "directory/contexts.h"

#include <cstdlib>
#include <cstring>

#include "base/output.h"
#include "qrtscript.h"

void contexts_preset_environment() {
    setenv("TOLAN_USE_BRUNE", "0", 0);
}

uint32_t contexts_start_client() {
    contexts_preset_environment();
    uint32_t code = ZKCallsInit(nullptr, nullptr);
    return code == ZK_OK ? ZKCLXInit(nullptr, nullptr) : code;
}

uint32_t contexts_open(const char *name, uint32_t &connection) {
    return ZKCCOpenConnByName(0, name, ZK_NAME_ANY, ZK_OPEN_BY_NAME, ZK_TRANSPORT_ANY, &connection);
}
uint32_t contexts_open_server(const char *name, uint32_t &connection) {
    return ZKCCOpenConnByName(0, name, ZK_NAME_FILE_SERVER, ZK_OPEN_BY_NAME, ZK_TRANSPORT_ANY, &connection);
}

uint32_t contexts_authentication(uint32_t connection, uint32_t &state) {
    return ZKCCGetConnInfo(connection, ZK_INFO_AUTHENTICATION_STATE, sizeof state, &state);
}

// The text of a connection's item, which is asked for with `size` and believed up to `longest` bytes.
static uint32_t item_text(uint32_t connection, uint32_t item, uint32_t size, size_t longest, std::string &text) {
    std::string answer(size, '\0');
    const uint32_t code = ZKCCGetConnInfo(connection, item, size, answer.data());
    if (code == ZK_OK) text = answer.substr(0, strnlen(answer.data(), longest));
    return code;
}

uint32_t contexts_server_name(uint32_t connection, std::string &name) {
    return item_text(connection, ZK_INFO_SERVER_NAME, ZK_SERVER_NAME_SIZE, ZK_SERVER_NAME_SIZE - 1, name);
}

uint32_t contexts_tree_name(uint32_t connection, std::string &name) {
    return item_text(connection, ZK_INFO_TREE_NAME, ZK_TREE_NAME_SIZE, ZK_TREE_NAME_SIZE - 1, name);
}

std::string contexts_strip_padding(std::string name) {
    if (name.size() == ZK_TREE_NAME_SIZE - 1 && name.back() == '_') name.erase(name.find_last_not_of('_') + 1);
    return name;
}

static std::optional<std::string> ask_tree_name(TracedFunction function, const char *name) {
    uint32_t connection = 0;
    uint32_t code = contexts_open(name, connection);
    TRACE_FOR(function, 5, "ZKCCOpenConnByName returned 0x%X", code);
    if (code != ZK_OK) return std::nullopt;
    std::string tree;
    code = contexts_tree_name(connection, tree);
    TRACE_FOR(function, 5, "ZKCCGetConnInfo returned 0x%X", code);
    return code == ZK_OK ? std::optional(contexts_strip_padding(tree)) : std::nullopt;
}

std::optional<std::string> contexts_tree(const char *tree) {
    TRACE(qrt_GetTreeName, 5, "qrt_GetTreeName(%s)", tree ? tree : "");
    if (tree == nullptr) return std::nullopt;
    std::optional<std::string> name = ask_tree_name(TRACED(qrt_GetTreeName), tree);
    if (name)
        TRACE(qrt_GetTreeName, 5, "qrt_GetTreeName found tree (%s)", tree);
    else
        TRACE(qrt_GetTreeName, 5, "qrt_GetTreeName could NOT find tree.");
    return name;
}

std::optional<std::string> contexts_tree_of_server(const char *server) {
    TRACE(qrt_GetTreeFromServer, 5, "qrt_GetTreeFromServer(%s)", server ? server : "");
    return server != nullptr ? ask_tree_name(TRACED(qrt_GetTreeFromServer), server) : std::nullopt;
}

static uint32_t set_flags(uint32_t handle) {
    uint32_t flags = contexts_flags;
    uint32_t code = ZKDSSetContext(handle, DCK_FLAGS, &flags);
    TRACE(qrt_Getctx, 6, "ZKDSSetContext(ctx, DCK_FLAGS, DCV_DEREF_ALIASES etc)  ccode: %x", code);
    if (code != ZK_OK) TRACE(qrt_Getctx, 4, "ZKDSSetContext (1) ccode: %x", code);
    return code;
}

// `known` is set to whether the network knows the tree; the result is then that of binding the context to it.
static uint32_t set_tree(uint32_t handle, const char *tree, bool &known) {
    const std::optional<std::string> name = contexts_tree(tree);
    known = name.has_value();
    TRACE(qrt_Getctx, 4, "tree name=(%s)", known ? name->c_str() : "");
    if (!known) {
        TRACE(qrt_Getctx, 0, "Can not find tree named: \"%s\"", tree ? tree : "");
        return ZKE_TREE_NOT_FOUND;
    }
    uint32_t code = ZKDSSetContext(handle, DCK_TREE_NAME, name->c_str());
    TRACE(qrt_Getctx, 6, "ZKDSSetContext(ctx, DCK_TREE_NAME, %s)  ccode: %x", name->c_str(), code);
    if (code != ZK_OK) TRACE(qrt_Getctx, 4, "ZKDSSetContext: ccode: %x", code);
    return code;
}

uint32_t contexts_make(const char *tree, uint32_t &handle) {
    handle = 0;
    uint32_t code = contexts_start_client();
    if (code != ZK_OK) return code;
    Context made;
    code = ZKDSCreateContextHandle(&made.handle);
    if (code != ZK_OK) {
        TRACE(qrt_Getctx, 4, "ZKDSCreateContextHandle ccode: %x", code);
        return code;
    }
    bool known = true;
    code = set_flags(made.handle);
    if (code == ZK_OK) code = set_tree(made.handle, tree, known);
    // The run sequence goes on with a context that has no tree, so an unknown one is handed out as well.
    if (code == ZK_OK || !known) handle = made.release();
    return code;
}

std::optional<std::string> contexts_default_server_of(const char *tree) {
    uint32_t connection = 0;
    if (tree == nullptr || contexts_open(tree, connection) != ZK_OK) return std::nullopt;
    std::string server;
    uint32_t code = item_text(connection, ZK_INFO_SERVER_NAME, ZK_SERVER_NAME_SIZE, ZK_SERVER_NAME_SIZE, server);
    if (code != ZK_OK) {
        TRACE(qrt_GetDefaultServerFromTree, 4, "ZKCCGetConnInfo() returned %x", code);
        return std::nullopt;
    }
    TRACE(qrt_GetDefaultServerFromTree, 5, "Default server for tree %s, is: %s", tree, server.c_str());
    return server;
}

// The connection that qrt_GetDefaultServer asks: the current tree's, or without a tree the default one.
static uint32_t open_session_connection(uint32_t &connection) {
    uint32_t code = ZK_OK;
    if (CurrentTree != nullptr) {
        code = contexts_open(CurrentTree, connection);
        if (code != ZK_OK) TRACE(qrt_GetDefaultServer, 4, "Error, ZKCCOpenConnByName() returned %x", code);
        return code;
    }
    uint32_t reference = 0;
    code = ZKGetDefaultConnRef(&reference);
    if (code != ZK_OK) {
        TRACE(qrt_GetDefaultServer, 4, "Error, ZKGetDefaultConnRef() returned %x", code);
        return code;
    }
    code = ZKCCOpenConnByRef(reference, ZK_OPEN_BY_REFERENCE, 0, &connection);
    if (code != ZK_OK) TRACE(qrt_GetDefaultServer, 4, "Error, ZKCCOpenConnByRef() returned %x", code);
    return code;
}

std::optional<std::string> contexts_default_server() {
    static constexpr uint32_t answerSize = 512;
    uint32_t connection = 0;
    if (open_session_connection(connection) != ZK_OK) return std::nullopt;
    std::string server;
    uint32_t code = item_text(connection, ZK_INFO_SERVER_NAME, answerSize, answerSize, server);
    if (code != ZK_OK) {
        TRACE(qrt_GetDefaultServer, 4, "Error, ZKCCGetConnInfo() returned %x", code);
        return std::nullopt;
    }
    TRACE(qrt_GetDefaultServer, 5, "Default server is: %s", server.c_str());
    return server;
}

// A number of the default connection; false, and `number` unchanged, when a step fails.
static bool ask_default_connection(TracedFunction function, uint32_t item, uint32_t &number) {
    uint32_t reference = 0, connection = 0, answer = 0;
    uint32_t code = ZKGetDefaultConnRef(&reference);
    if (code != ZK_OK) {
        TRACE_FOR(function, 4, "ZKGetDefaultConnRef() returned %x", code);
        return false;
    }
    code = ZKCCOpenConnByRef(reference, ZK_OPEN_BY_REFERENCE, 0, &connection);
    if (code != ZK_OK) {
        TRACE_FOR(function, 4, "ZKCCOpenConnByRef() returned %x", code);
        return false;
    }
    code = ZKCCGetConnInfo(connection, item, sizeof answer, &answer);
    if (code != ZK_OK) {
        TRACE_FOR(function, 4, "ZKCCGetConnInfo() returned %x", code);
        return false;
    }
    number = answer;
    return true;
}

uint32_t contexts_user_number() {
    uint32_t number = 0;
    if (ask_default_connection(TRACED(qrt_UserID), ZK_INFO_USER_NUMBER, number))
        TRACE(qrt_UserID, 5, "UserID: %i", number);
    return number;
}

uint32_t contexts_connection_number() {
    uint32_t number = QRT_NOT_FOUND;
    if (ask_default_connection(TRACED(qrt_StationNumber), ZK_INFO_CONNECTION_NUMBER, number))
        TRACE(qrt_StationNumber, 5, "Connection Number: %i", number);
    return number;
}
