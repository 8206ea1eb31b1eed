#include "directory/contexts.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "base/output.h"
#include "base/text.h"
#include "platform/zk.h"
#include "qrtscript.h"

void contexts_preset_environment() {
    setenv("TOLAN_USE_BRUNE", "0", 0);
}

uint32_t contexts_start_client() {
    contexts_preset_environment();
    uint32_t code = ZKCallsInit(nullptr, nullptr);
    return code == ZK_OK ? ZKCLXInit(nullptr, nullptr) : code;
}

uint32_t contexts_open(const char *name, uint32_t *connection) {
    return ZKCCOpenConnByName(0, name, ZK_NAME_ANY, ZK_OPEN_BY_NAME, ZK_TRANSPORT_ANY, connection);
}

std::string contexts_strip_padding(const char *answer) {
    std::string name(answer, strnlen(answer, ZK_TREE_NAME_SIZE - 1));
    if (name.size() == ZK_TREE_NAME_SIZE - 1 && name.back() == '_') name.erase(name.find_last_not_of('_') + 1);
    return name;
}

// The tree that `name` leads to, or null.
static OwnedText ask_tree_name(TracedFunction function, const char *name) {
    uint32_t connection = 0;
    uint32_t code = contexts_open(name, &connection);
    TRACE_FOR(function, 5, "ZKCCOpenConnByName returned 0x%X", code);
    if (code != ZK_OK) return nullptr;
    char answer[ZK_TREE_NAME_SIZE + 1] = "";
    code = ZKCCGetConnInfo(connection, ZK_INFO_TREE_NAME, ZK_TREE_NAME_SIZE, answer);
    TRACE_FOR(function, 5, "ZKCCGetConnInfo returned 0x%X", code);
    if (code != ZK_OK) return nullptr;
    return text_copy(contexts_strip_padding(answer));
}

char *qrt_GetTreeName(const char *tree) try {
    TRACE(qrt_GetTreeName, 5, "qrt_GetTreeName(%s)", tree ? tree : "");
    if (!tree) return nullptr;
    OwnedText name = ask_tree_name(TRACED(qrt_GetTreeName), tree);
    if (name)
        TRACE(qrt_GetTreeName, 5, "qrt_GetTreeName found tree (%s)", tree);
    else
        TRACE(qrt_GetTreeName, 5, "qrt_GetTreeName could NOT find tree.");
    return name.release();
} catch (const std::bad_alloc &) {
    return nullptr;
}

char *qrt_GetTreeFromServer(const char *server) try {
    TRACE(qrt_GetTreeFromServer, 5, "qrt_GetTreeFromServer(%s)", server ? server : "");
    if (!server) return nullptr;
    return ask_tree_name(TRACED(qrt_GetTreeFromServer), server).release();
} catch (const std::bad_alloc &) {
    return nullptr;
}

static uint32_t set_flags(uint32_t handle) {
    uint32_t flags = contexts_flags;
    uint32_t code = ZKDSSetContext(handle, DCK_FLAGS, &flags);
    TRACE(qrt_Getctx, 6, "ZKDSSetContext(ctx, DCK_FLAGS, DCV_DEREF_ALIASES etc)  ccode: %x", code);
    if (code != ZK_OK) TRACE(qrt_Getctx, 4, "ZKDSSetContext (1) ccode: %x", code);
    return code;
}

// `known` tells whether the network knows the tree; the result is then that of binding the context to it.
static uint32_t set_tree(uint32_t handle, const char *tree, bool &known) {
    OwnedText name(qrt_GetTreeName(tree));
    known = name != nullptr;
    TRACE(qrt_Getctx, 4, "tree name=(%s)", known ? name.get() : "");
    if (!known) {
        TRACE(qrt_Getctx, 0, "Can not find tree named: \"%s\"", tree ? tree : "");
        return ZKE_TREE_NOT_FOUND;
    }
    uint32_t code = ZKDSSetContext(handle, DCK_TREE_NAME, name.get());
    TRACE(qrt_Getctx, 6, "ZKDSSetContext(ctx, DCK_TREE_NAME, %s)  ccode: %x", name.get(), code);
    if (code != ZK_OK) TRACE(qrt_Getctx, 4, "ZKDSSetContext: ccode: %x", code);
    return code;
}

uint32_t qrt_Getctx(const char *tree, uint32_t *handle) {
    if (!handle) return ZKE_BAD_PARAMETER;
    *handle = 0;
    uint32_t code = contexts_start_client();
    if (code != ZK_OK) return code;
    uint32_t made = 0;
    code = ZKDSCreateContextHandle(&made);
    if (code != ZK_OK) {
        TRACE(qrt_Getctx, 4, "ZKDSCreateContextHandle ccode: %x", code);
        return code;
    }
    bool known = true;
    code = set_flags(made);
    if (code == ZK_OK) code = set_tree(made, tree, known);
    // The run sequence goes on with a context that has no tree, so an unknown one is handed out as well.
    if (code == ZK_OK || !known)
        *handle = made;
    else
        ZKDSFreeContext(made);
    return code;
}

char *qrt_GetDefaultServerFromTree(const char *tree) try {
    uint32_t connection = 0;
    if (!tree || contexts_open(tree, &connection) != ZK_OK) return nullptr;
    char server[ZK_SERVER_NAME_SIZE + 1] = "";
    uint32_t code = ZKCCGetConnInfo(connection, ZK_INFO_SERVER_NAME, ZK_SERVER_NAME_SIZE, server);
    if (code != ZK_OK) {
        TRACE(qrt_GetDefaultServerFromTree, 4, "ZKCCGetConnInfo() returned %x", code);
        return nullptr;
    }
    TRACE(qrt_GetDefaultServerFromTree, 5, "Default server for tree %s, is: %s", tree, server);
    return text_copy(server).release();
} catch (const std::bad_alloc &) {
    return nullptr;
}

// The connection that qrt_GetDefaultServer asks: the current tree's, or without a tree the default one.
static uint32_t open_session_connection(uint32_t *connection) {
    uint32_t code = ZK_OK;
    if (CurrentTree) {
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
    code = ZKCCOpenConnByRef(reference, ZK_OPEN_BY_REFERENCE, 0, connection);
    if (code != ZK_OK) TRACE(qrt_GetDefaultServer, 4, "Error, ZKCCOpenConnByRef() returned %x", code);
    return code;
}

char *qrt_GetDefaultServer(void) {
    static constexpr uint32_t answerSize = 512;
    uint32_t connection = 0;
    if (open_session_connection(&connection) != ZK_OK) return nullptr;
    OwnedText server(static_cast<char *>(calloc(1, answerSize + 1)));
    if (!server) return nullptr;
    uint32_t code = ZKCCGetConnInfo(connection, ZK_INFO_SERVER_NAME, answerSize, server.get());
    if (code != ZK_OK) {
        TRACE(qrt_GetDefaultServer, 4, "Error, ZKCCGetConnInfo() returned %x", code);
        return nullptr;
    }
    TRACE(qrt_GetDefaultServer, 5, "Default server is: %s", server.get());
    return server.release();
}

// A number that the default connection tells; false, and `number` unchanged, when a step fails.
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

uint32_t qrt_UserID(void) {
    uint32_t number = 0;
    if (ask_default_connection(TRACED(qrt_UserID), ZK_INFO_USER_NUMBER, number))
        TRACE(qrt_UserID, 5, "UserID: %i", number);
    return number;
}

uint32_t qrt_StationNumber(void) {
    uint32_t number = QRT_NOT_FOUND;
    if (ask_default_connection(TRACED(qrt_StationNumber), ZK_INFO_CONNECTION_NUMBER, number))
        TRACE(qrt_StationNumber, 5, "Connection Number: %i", number);
    return number;
}
