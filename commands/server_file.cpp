#include "commands/server_file.h"

#include <algorithm>
#include <new>

#include "base/local_file.h"
#include "base/output.h"
#include "commands/file_spec.h"
#include "directory/session.h"
#include "directory/substitution.h"
#include "platform/common/location.h"
#include "platform/zk.h"

static std::string without_tail(std::string name) {
    const size_t last = name.find_last_not_of("/ ");
    name.erase(last == name.npos ? 0 : last + 1);
    return name;
}

std::string server_file_path(const std::string &server, const std::string &name) {
    if (server == ".." || server == "." || server.find('/') != server.npos || !path_folders(name)) return "";
    std::string path = without_tail(mount_user_folder() + "/" + server + "/" + name);
    return path.size() < server_file_path_size ? path : "";
}

// Makes sure that the connection is authenticated; the lookup goes on whatever comes of it.
static void authenticate(uint32_t handle, uint32_t connection, const std::string &server) {
    uint32_t state = 0;
    ZKCCGetConnInfo(connection, ZK_INFO_AUTHENTICATION_STATE, sizeof state, &state);
    if (state != 0) return;
    if (ZKDSCanDSAuthenticate(handle) != 1) {
        say("Not logged into tree\n");
        return;
    }
    const uint32_t code = ZKDSAuthenticateConnEx(handle, connection);
    if (code != 0) say("Unable to Authenticate to server: %1$s (%2$X)\n", server.c_str(), code);
}

// Connects to the server and returns its own name for itself; empty when it cannot be reached.
static std::string reach_server(uint32_t handle, const std::string &server) {
    uint32_t connection = 0;
    const uint32_t code =
        ZKCCOpenConnByName(0, server.c_str(), ZK_NAME_FILE_SERVER, ZK_OPEN_BY_NAME, ZK_TRANSPORT_ANY, &connection);
    if (code != 0) {
        say("Unable to connect to server: %1$s (%2$X)\n", server.c_str(), code);
        return "";
    }
    char name[ZK_SERVER_NAME_SIZE] = "";
    const bool told = ZKCCGetConnInfo(connection, ZK_INFO_SERVER_NAME, sizeof name, name) == 0;
    name[sizeof name - 1] = '\0';
    std::string known = told ? name : server;
    authenticate(handle, connection, known);
    return known;
}

// ":" is the default server. Without one the name is treated as having no server: null.
static OwnedText actual_server(const char *server) {
    if (!server || std::string(server) != ":") return text_copy_or_null(server);
    return uservars[0] ? text_copy(uservars[0]) : OwnedText(qrt_GetDefaultServer());
}

static std::string drive_path(const std::string &name) {
    std::string path;
    if (driveDir) path = std::string(driveDir) + (name.compare(0, 1, "/") == 0 ? "" : "/");
    path = without_tail(path + name);
    return path.size() < server_file_path_size ? path : "";
}

int qrt_GetFile(uint32_t handle, const char *server, const char *spec, char **text) try {
    if (text) *text = nullptr;
    if (!spec) {
        say("File Specificaion Empty\n");
        return 1;
    }
    if (!text) return 1;
    std::string name = substitution_of(handle, spec).get();
    std::replace(name.begin(), name.end(), '\\', '/');

    const OwnedText host = actual_server(server);
    const std::string path = host ? server_file_path(reach_server(handle, host.get()), name) : drive_path(name);
    if (path.empty()) return 1;
    size_t length = 0;
    OwnedText content = local_file_read(path.c_str(), length);
    if (!content || length == 0) return 1;
    *text = content.release();
    return 0;
} catch (const std::bad_alloc &) {
    return 1;
}
