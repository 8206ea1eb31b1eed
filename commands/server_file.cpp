#include "commands/server_file.h"

#include <algorithm>
#include <optional>

#include "base/local_file.h"
#include "base/output.h"
#include "directory/contexts.h"
#include "directory/substitution.h"
#include "platform/common/location.h"
#include "platform/zk.h"
#include "qrtscript.h"

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
    contexts_authentication(connection, state);
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
    const uint32_t code = contexts_open_server(server.c_str(), connection);
    if (code != 0) {
        say("Unable to connect to server: %1$s (%2$X)\n", server.c_str(), code);
        return "";
    }
    std::string known = server;
    contexts_server_name(connection, known);
    authenticate(handle, connection, known);
    return known;
}

// ":" is the default server. Without one the name is treated as having no server.
static std::optional<std::string> actual_server(const char *server) {
    if (server == nullptr) return std::nullopt;
    if (std::string_view(server) != ":") return server;
    return uservars[0] != nullptr ? uservars[0] : contexts_default_server();
}

static std::string drive_path(const std::string &name) {
    std::string path;
    if (driveDir != nullptr) path = std::string(driveDir) + (name.compare(0, 1, "/") == 0 ? "" : "/");
    path = without_tail(path + name);
    return path.size() < server_file_path_size ? path : "";
}

OwnedText server_file_read(uint32_t handle, const char *server, std::string_view spec) {
    std::string name = substitution_of(handle, spec).get();
    std::replace(name.begin(), name.end(), '\\', '/');
    const std::optional<std::string> host = actual_server(server);
    const std::string path = host ? server_file_path(reach_server(handle, *host), name) : drive_path(name);
    if (path.empty()) return nullptr;
    size_t length = 0;
    OwnedText text = local_file_read(path.c_str(), length);
    return length == 0 ? nullptr : std::move(text);
}
