#include "platform/client/interface/connections.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>

#include "platform/client/core/values.h"
#include "platform/client/interface/boundary.h"

namespace {

constexpr uint32_t reference_bit = 0x80000000u;

struct Table {
    std::map<uint32_t, Connection> open; // by handle, that is in the order of opening
    uint32_t lastHandle = 0;
    uint32_t primary = 0; // handle, 0 for none
};

Table &table() {
    static Table the_table;
    return the_table;
}

uint32_t free_number() {
    uint32_t number = 1;
    auto taken = [&](const auto &item) { return item.second.number == number; };
    while (std::any_of(table().open.begin(), table().open.end(), taken)) {
        number++;
    }
    return number;
}

std::string identity_key(const Entry &user) {
    return name_to_dotted(user.name, true);
}

// A directory behind a network may hand out the same server in another entry after a login.
bool same_server(const EntryPtr &a, const EntryPtr &b) {
    return a == b || (a != nullptr && b != nullptr && name_equal(a->name, b->name));
}

// The connection to a server, an open one or a new one.
uint32_t open_to(Tree *tree, const EntryPtr &server, const ConfigServer *outside, Connection **connection) {
    for (auto &item : table().open) {
        Connection &open = item.second;
        if (open.tree == tree && same_server(open.server, server) && open.outside == outside) {
            open.uses++;
            *connection = &open;
            return ZK_OK;
        }
    }
    if (table().open.size() == connection_limit) {
        return ZKE_SERVER_NO_SLOTS;
    }
    Connection made = {};
    made.handle = ++table().lastHandle;
    made.reference = made.handle | reference_bit;
    made.number = free_number();
    made.tree = tree;
    made.server = server;
    made.outside = outside;
    made.serverName = outside != nullptr ? outside->name : server != nullptr ? entry_common_name(*server) : "";
    made.uses = 1;
    *connection = &table().open.emplace(made.handle, made).first->second;
    // The login to a tree is a login at the tree's own server.
    if (tree != nullptr && tree->identity != nullptr && same_server(server, tree_default_server(*tree))) {
        connection_authenticate(*connection, *tree->identity);
    }
    return ZK_OK;
}

// The trees in the order in which servers are looked for: the default tree first.
std::vector<Tree *> search_order() {
    std::vector<Tree *> order;
    for (const std::unique_ptr<Tree> &tree : trees_all()) {
        order.push_back(tree.get());
    }
    std::stable_partition(order.begin(), order.end(),
                          [first = tree_default()](const Tree *tree) { return tree == first; });
    return order;
}

bool is_logged_in_somewhere() {
    const std::vector<std::unique_ptr<Tree>> &trees = trees_all();
    return std::any_of(trees.begin(), trees.end(), [](const auto &tree) { return tree->identity != nullptr; });
}

// A script that moves to another tree asks for a connection by the tree's name, only to learn whether there is such a
// tree: why its directory cannot be asked is for the context that is bound to the tree next. Whoever has not logged in
// anywhere has to learn it here.
uint32_t open_any(std::string_view name, Connection **connection) {
    Tree *tree = tree_find(name);
    if (tree == nullptr) {
        return connection_open_server(name, connection);
    }
    try {
        return connection_open_tree(tree, connection);
    } catch (const std::runtime_error &) { // CodedError or DataError
        if (!is_logged_in_somewhere() || tree->identity != nullptr) {
            throw;
        }
        tree->openedUnasked = true;
        return open_to(tree, nullptr, nullptr, connection);
    }
}

bool known_open_state(uint32_t state) {
    return state == ZK_OPEN_BY_NAME || state == ZK_OPEN_BY_REFERENCE;
}

uint32_t put_number(uint32_t number, uint32_t size, void *value) {
    if (size < sizeof number) {
        return ZKE_BUFFER_TOO_SMALL;
    }
    memcpy(value, &number, sizeof number);
    return ZK_OK;
}

uint32_t put_text(const std::string &text, uint32_t size, void *value) {
    if (size <= text.size()) {
        return ZKE_BUFFER_TOO_SMALL;
    }
    memcpy(value, text.c_str(), text.size() + 1);
    return ZK_OK;
}

uint32_t put_info(const Connection &connection, uint32_t item, uint32_t size, void *value) {
    switch (item) {
        case ZK_INFO_AUTHENTICATION_STATE:
            return put_number(connection.authenticated ? 1 : 0, size, value);
        case ZK_INFO_TREE_NAME: {
            if (connection.tree == nullptr) {
                return ZKE_TREE_NOT_FOUND;
            }
            std::string padded = connection.tree->config.name;
            padded.resize(ZK_TREE_NAME_SIZE - 1, '_');
            return put_text(padded, size, value);
        }
        case ZK_INFO_CONNECTION_NUMBER:
            return put_number(connection.number, size, value);
        case ZK_INFO_USER_NUMBER:
            return put_number(connection.userNumber, size, value);
        case ZK_INFO_SERVER_NAME:
            return connection.serverName.empty() ? ZKE_SERVER_NOT_FOUND : put_text(connection.serverName, size, value);
        case ZK_INFO_COUNTED_STATE:
            return put_number(connection.licenses > 0 ? 1 : 0, size, value);
        default:
            return ZKE_BAD_PARAMETER;
    }
}

// Does the connection have this value of an item that can be searched for?
bool matches(const Connection &connection, uint32_t item, const char *value) {
    if (item == ZK_INFO_SERVER_NAME) {
        return equal_nocase(connection.serverName, value);
    }
    return connection.tree != nullptr && connection.tree == tree_find(value);
}

} // namespace

Connection *connection_find(uint32_t handle) {
    auto found = table().open.find(handle);
    return found == table().open.end() ? nullptr : &found->second;
}

uint32_t connection_open_tree(Tree *tree, Connection **connection) {
    tree_load(tree);
    return open_to(tree, tree_default_server(*tree), nullptr, connection);
}

uint32_t connection_open_server(std::string_view name, Connection **connection) {
    if (name.empty()) {
        return ZKE_SERVER_NOT_FOUND;
    }
    uint32_t code = ZKE_SERVER_NOT_FOUND;
    for (Tree *tree : search_order()) {
        EntryPtr server;
        try {
            tree_load(tree);
            tree->store->find_server(name, &server);
        } catch (const DataError &error) {
            // One tree that cannot be read does not hide the others' servers.
            error_keep(error.what());
        } catch (const CodedError &error) {
            error_keep(error.what());
            code = error.code;
        }
        if (server != nullptr) {
            return open_to(tree, server, nullptr, connection);
        }
    }
    for (const ConfigServer &server : trees_config().servers) {
        if (equal_nocase(server.name, name)) {
            return open_to(nullptr, nullptr, &server, connection);
        }
    }
    return code;
}

Connection *connection_default() {
    Connection *primary = connection_find(table().primary);
    if (primary != nullptr || table().open.empty()) {
        return primary;
    }
    return &table().open.begin()->second;
}

void connection_authenticate_as(Connection *connection, const std::string &identity, uint32_t userNumber) {
    connection->identity = identity;
    connection->userNumber = userNumber;
    connection->authenticated = true;
}

void connection_authenticate(Connection *connection, const Entry &user) {
    connection_authenticate_as(connection, identity_key(user), connection_user_number(user));
}

bool connection_is_of(const Connection &connection, const Entry &user) {
    return connection.authenticated && connection.identity == identity_key(user);
}

void connection_forget_identity(const Tree *tree, const Entry &user) {
    for (auto &item : table().open) {
        Connection &connection = item.second;
        if (connection.tree == tree && connection.identity == identity_key(user)) {
            connection.authenticated = false;
            connection.identity.clear();
            connection.userNumber = 0;
        }
    }
}

uint32_t connection_user_number(const Entry &user) {
    if (const std::string *number = user.first("uidNumber")) {
        int32_t value = value_parse(ZK_SYNTAX_COUNTER, *number, {}).number;
        if (value > 0) {
            return static_cast<uint32_t>(value);
        }
    }
    uint32_t hash = 2166136261u; // FNV-1a
    for (char c : name_key(user.name)) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
    }
    hash &= 0x7FFFFFFFu; // the number is shown with a sign
    return hash == 0 ? 1 : hash;
}

uint32_t ZKCCOpenConnByName(uint32_t start, const char *name, uint32_t nameFormat, uint32_t openState,
                            uint32_t transport, uint32_t *connection) {
    return guarded([&]() -> uint32_t {
        if (start != 0 || name == nullptr || connection == nullptr || !known_open_state(openState) ||
            transport != ZK_TRANSPORT_ANY || (nameFormat != ZK_NAME_ANY && nameFormat != ZK_NAME_FILE_SERVER)) {
            return ZKE_BAD_PARAMETER;
        }
        Connection *open = nullptr;
        uint32_t code = nameFormat == ZK_NAME_ANY ? open_any(name, &open) : connection_open_server(name, &open);
        if (code == ZK_OK) {
            *connection = open->handle;
        }
        return code;
    });
}

uint32_t ZKCCOpenConnByRef(uint32_t reference, uint32_t openState, uint32_t reserved, uint32_t *connection) {
    return guarded([&]() -> uint32_t {
        if (connection == nullptr || !known_open_state(openState) || reserved != 0) {
            return ZKE_BAD_PARAMETER;
        }
        Connection *open = (reference & reference_bit) == 0 ? nullptr : connection_find(reference & ~reference_bit);
        if (open == nullptr) {
            return ZKE_CONN_INVALID;
        }
        open->uses++;
        *connection = open->handle;
        return ZK_OK;
    });
}

uint32_t ZKCCScanConnInfo(uint32_t *iteration, uint32_t item, const void *value, uint32_t, uint32_t openState,
                          uint32_t infoSize, void *info, uint32_t *connection) {
    return guarded([&]() -> uint32_t {
        bool searchable = value == nullptr || item == ZK_INFO_SERVER_NAME || item == ZK_INFO_TREE_NAME;
        if (iteration == nullptr || connection == nullptr || !searchable || !known_open_state(openState)) {
            return ZKE_BAD_PARAMETER;
        }
        uint32_t after = *iteration == UINT32_MAX ? 0 : *iteration;
        for (auto at = table().open.upper_bound(after); at != table().open.end(); ++at) {
            Connection &open = at->second;
            if (value == nullptr || matches(open, item, static_cast<const char *>(value))) {
                uint32_t code = info == nullptr || infoSize == 0 ? ZK_OK : put_info(open, item, infoSize, info);
                if (code == ZK_OK) {
                    open.uses++;
                    *iteration = open.handle;
                    *connection = open.handle;
                }
                return code;
            }
        }
        return ZKE_NO_MORE_ENTRIES;
    });
}

uint32_t ZKCCGetConnInfo(uint32_t connection, uint32_t item, uint32_t size, void *value) {
    return guarded([&]() -> uint32_t {
        const Connection *open = connection_find(connection);
        if (open == nullptr || value == nullptr) {
            return open == nullptr ? ZKE_CONN_INVALID : ZKE_BAD_PARAMETER;
        }
        return put_info(*open, item, size, value);
    });
}

uint32_t ZKCCSetPrimConn(uint32_t connection) {
    return guarded([&]() -> uint32_t {
        if (connection_find(connection) == nullptr) {
            return ZKE_CONN_INVALID;
        }
        table().primary = connection;
        return ZK_OK;
    });
}

uint32_t ZKCCCloseConn(uint32_t connection) {
    return guarded([&]() -> uint32_t {
        Connection *open = connection_find(connection);
        if (open == nullptr) {
            return ZKE_CONN_INVALID;
        }
        if (--open->uses == 0) {
            table().open.erase(connection);
        }
        return ZK_OK;
    });
}

uint32_t ZKCCLicenseConn(uint32_t connection) {
    return guarded([&]() -> uint32_t {
        Connection *open = connection_find(connection);
        if (open == nullptr) {
            return ZKE_CONN_INVALID;
        }
        open->licenses++;
        return ZK_OK;
    });
}

uint32_t ZKCCUnlicenseConn(uint32_t connection) {
    return guarded([&]() -> uint32_t {
        Connection *open = connection_find(connection);
        if (open == nullptr || open->licenses == 0) {
            return open == nullptr ? ZKE_CONN_INVALID : ZKE_BAD_PARAMETER;
        }
        open->licenses--;
        return ZK_OK;
    });
}

uint32_t ZKGetDefaultConnRef(uint32_t *reference) {
    return guarded([&]() -> uint32_t {
        const Connection *open = connection_default();
        if (open == nullptr || reference == nullptr) {
            return reference == nullptr ? ZKE_BAD_PARAMETER : ZKE_CONN_INVALID;
        }
        *reference = open->reference;
        return ZK_OK;
    });
}
