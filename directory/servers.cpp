#include "directory/servers.h"

#include <new>
#include <string>

#include "base/output.h"
#include "base/text.h"
#include "directory/contexts.h"
#include "directory/session.h"
#include "platform/zk.h"

// Reads whether a connection is authenticated; one that cannot tell is closed.
static uint32_t read_state(TracedFunction function, uint32_t connection, uint32_t &state) {
    const uint32_t code = ZKCCGetConnInfo(connection, ZK_INFO_AUTHENTICATION_STATE, sizeof state, &state);
    if (code != 0) {
        TRACE_FOR(function, 4, "ZKCCGetConnInfo: %x", code);
        ZKCCCloseConn(connection);
    }
    return code;
}

static uint32_t open_file_server(const char *server, uint32_t &connection) {
    const uint32_t code =
        ZKCCOpenConnByName(0, server, ZK_NAME_FILE_SERVER, ZK_OPEN_BY_NAME, ZK_TRANSPORT_ANY, &connection);
    if (code != 0) say("Server not Found:%s\n", server);
    return code;
}

uint32_t qrt_CheckAuthServer(char *server, char **tree) try {
    if (!server || !tree) return ZKE_BAD_PARAMETER;
    uint32_t iterator = 0, connection = 0, state = 0;
    uint32_t code = ZKCCScanConnInfo(&iterator, ZK_INFO_SERVER_NAME, server, 11, 1, 0, nullptr, &connection);
    TRACE(qrt_CheckAuthServer, 5, "ZKCCScanConnInfo() returned %X", code);
    if (code != 0) code = open_file_server(server, connection);
    if (code == 0) code = read_state(TRACED(qrt_CheckAuthServer), connection, state);
    if (code != 0) return code;
    if (state == 0) return 1;
    char name[ZK_TREE_NAME_SIZE] = "";
    *tree = nullptr;
    if (ZKCCGetConnInfo(connection, ZK_INFO_TREE_NAME, sizeof name, name) == 0)
        *tree = text_copy(contexts_strip_padding(name)).release();
    return 0;
} catch (const std::bad_alloc &) {
    return ZKE_NO_MEMORY;
}

// Connects to the server and makes it primary; %0 gets the name that the server has for itself.
static uint32_t make_primary(uint32_t handle, const char *server) {
    uint32_t connection = 0;
    uint32_t code = contexts_open(server, &connection);
    if (code != 0) return code;
    char name[ZK_SERVER_NAME_SIZE] = "";
    code = ZKCCGetConnInfo(connection, ZK_INFO_SERVER_NAME, sizeof name, name);
    if (code != 0) return code;
    name[sizeof name - 1] = '\0';
    qrt_SetUserVar(0, name);
    code = ZKCCSetPrimConn(connection);
    TRACE(qrt_SetServer, 4, "ZKCCSetPrimConn on %s %x", name, code);
    if (handle == 0) {
        TRACE(qrt_SetServer, 4, "qrt_Getctx FAILED to get context. Default server connection may not be set");
        return code;
    }
    code = ZKDSSetContext(handle, DCK_LAST_CONNECTION, &connection);
    TRACE(qrt_SetServer, 4, "ZKDSSetContext(DCK_LAST_CONNECTION, to server (%s) = %x", name, code);
    return code;
}

uint32_t qrt_SetServer(uint32_t handle, const char *server) try {
    TRACE(qrt_SetServer, 6, "entering qrt_SetServer(%s)", server ? server : "");
    uint32_t code = 1;
    if (server) {
        // The caller may pass the text of %0 itself, which is replaced here.
        const OwnedText wanted = text_copy(server);
        // %0 is set first, so that it names the server wanted even when that cannot be reached.
        qrt_SetUserVar(0, wanted.get());
        code = make_primary(handle, wanted.get());
    }
    if (code == 0)
        say("You are attached to server %s\n", uservars[0] ? uservars[0] : "");
    else
        say("Unable to set primary connection: %X\n", code);
    return code;
} catch (const std::bad_alloc &) {
    return ZKE_NO_MEMORY;
}

// Authenticates the connection with the directory login and reads its state again. The context handle made here is not
// freed: required, the connection refers to it.
static void use_directory_login(uint32_t connection, uint32_t &state) {
    contexts_preset_environment();
    ZKCLXInit(nullptr, nullptr);
    uint32_t handle = 0;
    if (ZKDSCreateContextHandle(&handle) == 0) {
        uint32_t code = ZKDSAuthenticateConnEx(handle, connection);
        TRACE(qrt_Attach, 5, "ZKDSAuthenticateConnEx ccode:%X", code);
        if (code == 0) {
            code = ZKCCGetConnInfo(connection, ZK_INFO_AUTHENTICATION_STATE, sizeof state, &state);
            TRACE(qrt_Attach, 5, "ZKCCGetConnInfo  ccode:%X", code);
        }
    }
    TRACE(qrt_Attach, 5, "check if authent_state:%i", static_cast<int32_t>(state));
}

// Wipes what a prompt handed over. It is not freed: required.
static void wipe_answer(char *user, char *password) {
    text_wipe(password);
    text_wipe(user);
}

static uint32_t ask_until_attached(const char *server, uint32_t connection) {
    const std::string label = std::string("(server) ") + server;
    while (true) {
        char *user = nullptr, *password = nullptr;
        if (qrt_get_user_password(g_useGUI, label.c_str(), "<username>", &user, &password) != 0) {
            ZKCCCloseConn(connection);
            return 1;
        }
        // The one trace that shows a password: required.
        TRACE(qrt_Attach, 4, "qrt_attach username(%s)password(%s)", user, password);
        const uint32_t code = ZKLoginToFileServer(connection, user, 256, password);
        wipe_answer(user, password);
        if (code == 0) return 0;
        say("Unable to authenticate to server:%1$s (%2$X)\n", server, code);
    }
}

uint32_t qrt_Attach(char *server) try {
    if (!server) {
        say("Server not definded:%s\n", "(null)");
        return 1;
    }
    uint32_t connection = 0, state = 0;
    uint32_t code = open_file_server(server, connection);
    if (code == 0) code = read_state(TRACED(qrt_Attach), connection, state);
    if (code != 0) return code;
    if (state == 0) use_directory_login(connection, state);
    if (state != 0) return 0;
    say("Server not authenticated - login to server:%s\n", server);
    return ask_until_attached(server, connection);
} catch (const std::bad_alloc &) {
    return ZKE_NO_MEMORY;
}
