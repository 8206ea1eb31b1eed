#include "platform/client/interface/connections.h"

#include <algorithm>
#include <map>

#include "platform/client/core/values.h"
#include "platform/client/interface/answers.h"
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
Connection &open_to(Tree *tree, const EntryPtr &server, const ConfigServer *outside) {
    for (auto &item : table().open) {
        Connection &open = item.second;
        if (open.tree == tree && same_server(open.server, server) && open.outside == outside) {
            open.uses++;
            return open;
        }
    }
    error_unless(table().open.size() < connection_limit, ZKE_SERVER_NO_SLOTS);
    Connection made = {};
    made.handle = ++table().lastHandle;
    made.reference = made.handle | reference_bit;
    made.number = free_number();
    made.tree = tree;
    made.server = server;
    made.outside = outside;
    made.serverName = outside != nullptr ? outside->name : server != nullptr ? entry_common_name(*server) : "";
    made.uses = 1;
    Connection &open = table().open.emplace(made.handle, made).first->second;
    // The login to a tree is a login at the tree's own server.
    if (tree != nullptr && tree->identity != nullptr && same_server(server, tree_default_server(*tree))) {
        connection_authenticate(&open, *tree->identity);
    }
    return open;
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

bool known_open_state(uint32_t state) {
    return state == ZK_OPEN_BY_NAME || state == ZK_OPEN_BY_REFERENCE;
}

void put_checked_number(uint32_t number, uint32_t size, void *value) {
    error_unless(size >= sizeof number, ZKE_BUFFER_TOO_SMALL);
    put_number(number, value);
}

void put_info(const Connection &connection, uint32_t item, uint32_t size, void *value) {
    switch (item) {
        case ZK_INFO_AUTHENTICATION_STATE:
            return put_checked_number(connection.authenticated ? 1 : 0, size, value);
        case ZK_INFO_TREE_NAME: {
            error_unless(connection.tree != nullptr, ZKE_TREE_NOT_FOUND);
            std::string padded = connection.tree->config.name;
            padded.resize(ZK_TREE_NAME_SIZE - 1, '_');
            return put_text(padded, size, value);
        }
        case ZK_INFO_CONNECTION_NUMBER:
            return put_checked_number(connection.number, size, value);
        case ZK_INFO_USER_NUMBER:
            return put_checked_number(connection.userNumber, size, value);
        case ZK_INFO_SERVER_NAME:
            error_unless(!connection.serverName.empty(), ZKE_SERVER_NOT_FOUND);
            return put_text(connection.serverName, size, value);
        case ZK_INFO_COUNTED_STATE:
            return put_checked_number(connection.licenses > 0 ? 1 : 0, size, value);
        default:
            throw CodedError(ZKE_BAD_PARAMETER);
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

Connection &connection_of(uint32_t handle) {
    Connection *found = connection_find(handle);
    error_unless(found != nullptr, ZKE_CONN_INVALID);
    return *found;
}

Connection &connection_open_tree(Tree *tree) {
    tree_load(tree);
    return open_to(tree, tree_default_server(*tree), nullptr);
}

Connection &connection_open_server(std::string_view name) {
    error_unless(!name.empty(), ZKE_SERVER_NOT_FOUND);
    uint32_t code = ZKE_SERVER_NOT_FOUND;
    for (Tree *tree : search_order()) {
        EntryPtr server;
        try {
            tree_load(tree);
            server = tree->store->find_server(name);
        } catch (const DataError &error) {
            // One tree that cannot be read does not hide the others' servers.
            error_keep(error.what());
        } catch (const CodedError &error) {
            error_keep(error.what());
            code = error.code;
        }
        if (server != nullptr) {
            return open_to(tree, server, nullptr);
        }
    }
    for (const ConfigServer &server : trees_config().servers) {
        if (equal_nocase(server.name, name)) {
            return open_to(nullptr, nullptr, &server);
        }
    }
    throw CodedError(code);
}

// A script that moves to another tree asks for a connection by the tree's name, only to learn whether there is such a
// tree: why its directory cannot be asked is for the context that is bound to the tree next. Whoever has not logged in
// anywhere has to learn it here.
Connection &connection_open_any(std::string_view name) {
    Tree *tree = tree_find(name);
    if (tree == nullptr) {
        return connection_open_server(name);
    }
    EntryPtr server;
    try {
        tree_load(tree);
        server = tree_default_server(*tree);
    } catch (const CodedError &) {
        if (!is_logged_in_somewhere() || tree->identity != nullptr) {
            throw;
        }
        tree->openedUnasked = true;
    }
    return open_to(tree, server, nullptr);
}

void connection_close(Connection *connection) {
    if (--connection->uses == 0) {
        table().open.erase(connection->handle);
    }
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
    return guarded([&] {
        error_unless(start == 0 && name != nullptr && connection != nullptr && known_open_state(openState) &&
                         transport == ZK_TRANSPORT_ANY &&
                         (nameFormat == ZK_NAME_ANY || nameFormat == ZK_NAME_FILE_SERVER),
                     ZKE_BAD_PARAMETER);
        *connection = (nameFormat == ZK_NAME_ANY ? connection_open_any(name) : connection_open_server(name)).handle;
    });
}

uint32_t ZKCCOpenConnByRef(uint32_t reference, uint32_t openState, uint32_t reserved, uint32_t *connection) {
    return guarded([&] {
        error_unless(connection != nullptr && known_open_state(openState) && reserved == 0, ZKE_BAD_PARAMETER);
        error_unless((reference & reference_bit) != 0, ZKE_CONN_INVALID);
        Connection &open = connection_of(reference & ~reference_bit);
        open.uses++;
        *connection = open.handle;
    });
}

uint32_t ZKCCScanConnInfo(uint32_t *iteration, uint32_t item, const void *value, uint32_t, uint32_t openState,
                          uint32_t infoSize, void *info, uint32_t *connection) {
    return guarded([&] {
        const bool searchable = value == nullptr || item == ZK_INFO_SERVER_NAME || item == ZK_INFO_TREE_NAME;
        error_unless(iteration != nullptr && connection != nullptr && searchable && known_open_state(openState),
                     ZKE_BAD_PARAMETER);
        auto at = table().open.upper_bound(*iteration == UINT32_MAX ? 0 : *iteration);
        while (at != table().open.end() && value != nullptr &&
               !matches(at->second, item, static_cast<const char *>(value))) {
            ++at;
        }
        error_unless(at != table().open.end(), ZKE_NO_MORE_ENTRIES);
        Connection &open = at->second;
        if (info != nullptr && infoSize != 0) {
            put_info(open, item, infoSize, info);
        }
        open.uses++;
        *iteration = open.handle;
        *connection = open.handle;
    });
}

uint32_t ZKCCGetConnInfo(uint32_t connection, uint32_t item, uint32_t size, void *value) {
    return guarded([&] {
        const Connection &open = connection_of(connection);
        error_unless(value != nullptr, ZKE_BAD_PARAMETER);
        put_info(open, item, size, value);
    });
}

uint32_t ZKCCSetPrimConn(uint32_t connection) {
    return guarded([&] { table().primary = connection_of(connection).handle; });
}

uint32_t ZKCCCloseConn(uint32_t connection) {
    return guarded([&] { connection_close(&connection_of(connection)); });
}

uint32_t ZKCCLicenseConn(uint32_t connection) {
    return guarded([&] { connection_of(connection).licenses++; });
}

uint32_t ZKCCUnlicenseConn(uint32_t connection) {
    return guarded([&] {
        Connection &open = connection_of(connection);
        error_unless(open.licenses > 0, ZKE_BAD_PARAMETER);
        open.licenses--;
    });
}

uint32_t ZKGetDefaultConnRef(uint32_t *reference) {
    return guarded([&] {
        error_unless(reference != nullptr, ZKE_BAD_PARAMETER);
        const Connection *open = connection_default();
        error_unless(open != nullptr, ZKE_CONN_INVALID);
        *reference = open->reference;
    });
}
