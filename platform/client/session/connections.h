// Connections to file servers: the handles that programs hold, and what is known about each.
//
// A server is an object of a tree, or one that the configuration lists outside the trees. There is one connection to a
// server; opening it again returns the same handle and counts one more use, since scripts close few of what they
// open.
#ifndef PLATFORM_CLIENT_SESSION_CONNECTIONS_H
#define PLATFORM_CLIENT_SESSION_CONNECTIONS_H

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/client/session/handles.h"
#include "platform/client/session/trees.h"

// At most so many servers at a time.
constexpr size_t connection_limit = 250;

struct Connection {
    uint32_t handle;
    uint32_t number;             // the station number, from 1
    Tree *tree;                  // null outside the trees
    EntryPtr server;             // null outside the trees, and for a tree without a server
    const ConfigServer *outside; // null in a tree
    std::string serverName;      // as the server spells it; empty for a tree without a server
    uint32_t uses;
    uint32_t licenses;
    bool authenticated;
    std::string identity; // who, in a form that can be compared
    uint32_t userNumber;
};

// The open connections; ZKE_CONN_INVALID for others.
HandleTable<Connection> &connections();

// Open a connection and count a use of it: to a tree's own server, to a server of any tree or outside, to either. The
// tree is loaded. Throw CodedError: ZKE_SERVER_NOT_FOUND, ZKE_SERVER_NO_SLOTS, or why the directory cannot be asked;
// and DataError for a tree's bad data.
Connection &connection_open_tree(Tree *tree);
Connection &connection_open_server(std::string_view name);
Connection &connection_open_any(std::string_view name);

// Takes one use back; the connection is closed with its last.
void connection_close(Connection *connection);

// The connection that is meant when none is named: the primary one, otherwise the oldest. Null without any.
Connection *connection_default();
void connection_prefer(const Connection &connection);

// Authenticate as a user of the server's tree, or as one whom only the server knows.
void connection_authenticate(Connection *connection, const Entry &user);
void connection_authenticate_as(Connection *connection, const std::string &identity, uint32_t userNumber);

// Is it authenticated as this user of the server's tree?
bool connection_is_of(const Connection &connection, const Entry &user);

// The identity logged in to the tree is gone: its connections are no longer authenticated.
void connection_forget_identity(const Tree *tree, const Entry &user);

// The user number of a directory object: its uidNumber, otherwise one made of its name. Never 0.
uint32_t connection_user_number(const Entry &user);

#endif
