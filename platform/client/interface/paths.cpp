// Network file names: which server, which volume, and where in it.
//
//     path ::= server ("/" | "\") volume ":" rest        SRV1/SYS:public
//            | slash slash server slash volume [ slash rest ]
//            | volume ":" rest                           on the default server
//     A slash is "/" or "\"; the rest is handed out as it was written, without a slash before it.
#include <cstring>
#include <string>
#include <string_view>

#include "platform/client/interface/boundary.h"
#include "platform/client/interface/connections.h"

namespace {

constexpr size_t path_limit = 1024;
constexpr size_t volume_limit = 64;
constexpr size_t rest_limit = 255; // programs have 256 bytes for it

struct NetworkPath {
    std::string_view server; // empty: the default server
    std::string_view volume;
    std::string_view rest;
};

bool is_slash(char c) {
    return c == '/' || c == '\\';
}

std::string_view skip_slashes(std::string_view text) {
    while (!text.empty() && is_slash(text.front())) {
        text.remove_prefix(1);
    }
    return text;
}

bool split(std::string_view path, NetworkPath *parts) {
    const std::string_view start = path.substr(0, 2);
    if (start == "//" || start == "\\\\") {
        path.remove_prefix(2);
        size_t slash = path.find_first_of("/\\");
        if (slash == std::string_view::npos) {
            return false;
        }
        parts->server = path.substr(0, slash);
        path.remove_prefix(slash + 1);
        // The volume's name may carry its colon here too.
        size_t end = path.find_first_of("/\\:");
        parts->volume = path.substr(0, end);
        parts->rest = end == std::string_view::npos ? "" : path.substr(end + 1);
        return !parts->server.empty() && !parts->volume.empty();
    }
    size_t colon = path.find(':');
    if (colon == std::string_view::npos) {
        return false;
    }
    parts->rest = path.substr(colon + 1);
    path = path.substr(0, colon);
    size_t slash = path.find_first_of("/\\");
    if (slash != std::string_view::npos) {
        parts->server = path.substr(0, slash);
        path.remove_prefix(slash + 1);
        if (parts->server.empty()) {
            return false;
        }
    }
    parts->volume = path;
    return !path.empty() && path.find_first_of("/\\") == std::string_view::npos;
}

uint32_t open_default_server(Connection **connection) {
    if (Connection *open = connection_default()) {
        open->uses++;
        *connection = open;
        return ZK_OK;
    }
    Tree *tree = tree_default();
    return tree == nullptr ? ZKE_SERVER_NOT_FOUND : connection_open_tree(tree, connection);
}

// The volume as its server spells it.
uint32_t find_volume(const Connection &connection, std::string_view volume, std::string *spelled) {
    if (connection.outside != nullptr) {
        for (const std::string &known : connection.outside->volumes) {
            if (equal_nocase(known, volume)) {
                *spelled = known;
                return ZK_OK;
            }
        }
        *spelled = volume;
        return connection.outside->anyVolume ? ZK_OK : ZKE_VOLUME_UNKNOWN;
    }
    EntryPtr entry;
    if (connection.server == nullptr) {
        return ZKE_SERVER_NOT_FOUND;
    }
    uint32_t code = connection.tree->store->find_volume(*connection.server, volume, &entry);
    if (code == ZK_OK) {
        *spelled = *entry->first("qrtHostResourceName");
    }
    return code;
}

void put(const std::string &text, char *buffer) {
    if (buffer != nullptr) {
        memcpy(buffer, text.c_str(), text.size() + 1);
    }
}

} // namespace

uint32_t ZKParsePath(const char *path, char *server, uint32_t *connection, char *volume, char *rest) {
    return guarded([&]() -> uint32_t {
        if (path == nullptr) {
            return ZKE_BAD_PARAMETER;
        }
        NetworkPath parts;
        if (strlen(path) > path_limit || !split(path, &parts) || parts.volume.size() > volume_limit) {
            return ZKE_MALFORMED_NAME;
        }
        parts.rest = skip_slashes(parts.rest);
        if (parts.rest.size() > rest_limit) {
            return ZKE_BUFFER_TOO_SMALL;
        }
        Connection *open = nullptr;
        uint32_t code = parts.server.empty() ? open_default_server(&open) : connection_open_server(parts.server, &open);
        if (code != ZK_OK) {
            return code;
        }
        std::string spelled;
        code = find_volume(*open, parts.volume, &spelled);
        // What the caller is not told of he cannot close.
        if (code != ZK_OK || connection == nullptr) {
            std::string name = open->serverName;
            ZKCCCloseConn(open->handle);
            if (code == ZK_OK) {
                put(name, server);
            }
        } else {
            *connection = open->handle;
            put(open->serverName, server);
        }
        if (code == ZK_OK) {
            put(spelled, volume);
            put(std::string(parts.rest), rest);
        }
        return code;
    });
}
