// Network file names: which server, which volume, and where in it.
//
//     path ::= server ("/" | "\") volume ":" rest        SRV1/SYS:public
//            | slash slash server slash volume [ slash rest ]
//            | volume ":" rest                           on the default server
//     A slash is "/" or "\"; the rest is handed out as it was written, without a slash before it.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/client/interface/answers.h"
#include "platform/client/interface/boundary.h"
#include "platform/client/session/connections.h"
#include "platform/common/skip.h"
#include "platform/common/volume_source.h"

static constexpr size_t path_limit = 1024;
static constexpr size_t volume_limit = 64;
static constexpr size_t rest_limit = 255; // programs have 256 bytes for it

namespace {

struct NetworkPath {
    std::string_view server; // empty: the default server
    std::string_view volume;
    std::string_view rest;
};

} // namespace

static constexpr std::string_view slashes = "/\\";

static bool split(std::string_view path, NetworkPath *parts) {
    const std::string_view start = path.substr(0, 2);
    if (start == "//" || start == "\\\\") {
        path.remove_prefix(2);
        size_t slash = path.find_first_of(slashes);
        if (slash == std::string_view::npos) return false;
        parts->server = path.substr(0, slash);
        path.remove_prefix(slash + 1);
        // The volume's name may carry its colon here too.
        size_t end = path.find_first_of("/\\:");
        parts->volume = path.substr(0, end);
        parts->rest = end == std::string_view::npos ? "" : path.substr(end + 1);
        return !parts->server.empty() && !parts->volume.empty();
    }
    size_t colon = path.find(':');
    if (colon == std::string_view::npos) return false;
    parts->rest = path.substr(colon + 1);
    path = path.substr(0, colon);
    size_t slash = path.find_first_of(slashes);
    if (slash != std::string_view::npos) {
        parts->server = path.substr(0, slash);
        path.remove_prefix(slash + 1);
        if (parts->server.empty()) return false;
    }
    parts->volume = path;
    return !path.empty() && path.find_first_of(slashes) == std::string_view::npos;
}

static Connection &open_default_server() {
    if (Connection *open = connection_default()) {
        open->uses++;
        return *open;
    }
    Tree *tree = tree_default();
    error_unless(tree != nullptr, ZKE_SERVER_NOT_FOUND);
    return connection_open_tree(tree);
}

static std::string in_capitals(std::string_view name) {
    std::string capitals(name);
    std::transform(capitals.begin(), capitals.end(), capitals.begin(), upper_case);
    return capitals;
}

// A volume that has no object in the server's tree: one of the configuration, or any share of a host that the
// automounter may mount from.
static std::string find_configured_volume(const std::string &server, std::string_view volume) {
    for (const ConfigVolume &configured : trees_config().volumes)
        if (equal_nocase(configured.server, server) && equal_nocase(configured.name, volume)) return configured.name;
    error_unless(volume_host_is_listed(trees_config().automount.hosts, server), ZKE_VOLUME_UNKNOWN);
    return in_capitals(volume);
}

// The volume as its server spells it.
static std::string find_volume(const Connection &connection, std::string_view volume) {
    if (connection.outside != nullptr) {
        const std::vector<std::string> &known = connection.outside->volumes;
        auto found = std::find_if(known.begin(), known.end(),
                                  [volume](const std::string &one) { return equal_nocase(one, volume); });
        if (found != known.end()) return *found;
        const bool any = connection.outside->anyVolume && !connection.outside->listedHost;
        return any ? std::string(volume) : find_configured_volume(connection.serverName, volume);
    }
    error_unless(connection.server != nullptr, ZKE_SERVER_NOT_FOUND);
    const EntryPtr entry = connection.tree->store->findVolume(*connection.server, volume);
    return entry != nullptr ? *entry->first("qrtHostResourceName")
                            : find_configured_volume(connection.serverName, volume);
}

namespace {

// A use of a connection. The caller cannot close one that it does not get.
struct Use {
    Connection &connection;
    bool told = false;
    ~Use() {
        if (!told) connection_close(&connection);
    }
};

} // namespace

static void put_wanted(std::string_view text, size_t limit, char *buffer) {
    if (buffer != nullptr) put_text(text, limit + 1, buffer);
}

uint32_t ZKParsePath(const char *path, char *server, uint32_t *connection, char *volume, char *rest) {
    return guarded([&] {
        error_unless(path != nullptr, ZKE_BAD_PARAMETER);
        NetworkPath parts;
        error_unless(strlen(path) <= path_limit && split(path, &parts) && parts.volume.size() <= volume_limit,
                     ZKE_MALFORMED_NAME);
        parts.rest = skip_any(parts.rest, slashes);
        error_unless(parts.rest.size() <= rest_limit, ZKE_BUFFER_TOO_SMALL);
        Use use{parts.server.empty() ? open_default_server() : connection_open_server(parts.server)};
        const std::string spelled = find_volume(use.connection, parts.volume);
        put_wanted(use.connection.serverName, ZK_SERVER_NAME_SIZE - 1, server);
        put_wanted(spelled, volume_limit, volume);
        put_wanted(parts.rest, rest_limit, rest);
        if (connection != nullptr) {
            *connection = use.connection.handle;
            use.told = true;
        }
    });
}
