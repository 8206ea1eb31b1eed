#include "platform/client/session/connections.h"

#include <algorithm>
#include <list>

#include "platform/client/core/values.h"
#include "platform/common/volume_source.h"
#include "platform/zk.h"

static uint32_t primary = 0; // handle, 0 for none

static uint32_t free_number() {
    uint32_t number = 1;
    auto taken = [&](const auto &item) { return item.second.number == number; };
    while (std::any_of(connections().begin(), connections().end(), taken)) number++;
    return number;
}

static std::string identity_key(const Entry &user) {
    return name_to_dotted(user.name, true);
}

// A directory behind a network may hand out the same server in another entry after a login.
static bool same_server(const EntryPtr &a, const EntryPtr &b) {
    return a == b || (a != nullptr && b != nullptr && name_equal(a->name, b->name));
}

// The connection to a server, an open one or a new one.
static Connection &open_to(Tree *tree, const EntryPtr &server, const ConfigServer *outside) {
    for (auto &item : connections()) {
        Connection &open = item.second;
        if (open.tree == tree && same_server(open.server, server) && open.outside == outside) {
            open.uses++;
            return open;
        }
    }
    error_unless(connections().size() < connection_limit, ZKE_SERVER_NO_SLOTS);
    Connection made = {};
    made.number = free_number();
    made.tree = tree;
    made.server = server;
    made.outside = outside;
    made.serverName = outside != nullptr ? outside->name : server != nullptr ? entry_common_name(*server) : "";
    made.uses = 1;
    const uint32_t handle = connections().open(made);
    Connection &open = connections().at(handle);
    open.handle = handle;
    // The login to a tree is a login at the tree's own server.
    if (tree != nullptr && tree->identity != nullptr && same_server(server, tree_default_server(*tree)))
        connection_authenticate(&open, *tree->identity);
    return open;
}

// The trees in the order in which servers are looked for: the default tree first.
static std::vector<Tree *> search_order() {
    std::vector<Tree *> order;
    for (const std::unique_ptr<Tree> &tree : trees_all()) order.push_back(tree.get());
    std::stable_partition(order.begin(), order.end(),
                          [first = tree_default()](const Tree *tree) { return tree == first; });
    return order;
}

static bool is_logged_in_somewhere() {
    const std::vector<std::unique_ptr<Tree>> &trees = trees_all();
    return std::any_of(trees.begin(), trees.end(), [](const auto &tree) { return tree->identity != nullptr; });
}

// A host of the automounter's list is a server without an object: \\fs1\share is the volume SHARE of FS1. They are as
// many as connections at most.
static const ConfigServer *listed_host(std::string_view name) {
    static std::list<ConfigServer> made;
    if (name.size() >= ZK_SERVER_NAME_SIZE || !volume_host_is_listed(trees_config().automount.hosts, name))
        return nullptr;
    for (const ConfigServer &server : made)
        if (equal_nocase(server.name, name)) return &server;
    if (made.size() >= connection_limit) return nullptr;
    ConfigServer server;
    for (char c : name) server.name += upper_case(c);
    server.listedHost = true;
    return &made.emplace_back(server);
}

HandleTable<Connection> &connections() {
    static HandleTable<Connection> open(ZKE_CONN_INVALID);
    return open;
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
            server = tree->store->findServer(name);
        } catch (const DataError &error) {
            // One tree that cannot be read does not hide the others' servers.
            error_keep(error.what());
        } catch (const CodedError &error) {
            error_keep(error.what());
            code = error.code;
        }
        if (server != nullptr) return open_to(tree, server, nullptr);
    }
    for (const ConfigServer &server : trees_config().servers)
        if (equal_nocase(server.name, name)) return open_to(nullptr, nullptr, &server);
    if (const ConfigServer *host = listed_host(name)) return open_to(nullptr, nullptr, host);
    throw CodedError(code);
}

// A script that moves to another tree asks for a connection by the tree's name, only to learn whether there is such a
// tree: why its directory cannot be asked is for the context that is bound to the tree next. A caller that has not
// logged in anywhere has to learn it here.
Connection &connection_open_any(std::string_view name) {
    Tree *tree = tree_find(name);
    if (tree == nullptr) return connection_open_server(name);
    EntryPtr server;
    try {
        tree_load(tree);
        server = tree_default_server(*tree);
    } catch (const CodedError &) {
        if (!is_logged_in_somewhere() || tree->identity != nullptr) throw;
        tree->openedUnasked = true;
    }
    return open_to(tree, server, nullptr);
}

void connection_close(Connection *connection) {
    if (--connection->uses == 0) connections().close(connection->handle);
}

Connection *connection_default() {
    Connection *preferred = connections().find(primary);
    return preferred != nullptr || connections().size() == 0 ? preferred : &connections().begin()->second;
}

void connection_prefer(const Connection &connection) {
    primary = connection.handle;
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
    for (auto &item : connections()) {
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
        if (value > 0) return static_cast<uint32_t>(value);
    }
    uint32_t hash = 2166136261u; // FNV-1a
    for (char c : name_key(user.name)) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
    hash &= 0x7FFFFFFFu; // the number is shown with a sign
    return hash == 0 ? 1 : hash;
}
