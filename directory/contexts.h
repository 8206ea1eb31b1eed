// Directory contexts, and what connections know of trees and servers. Connections that are opened here stay open.
#ifndef DIRECTORY_CONTEXTS_H
#define DIRECTORY_CONTEXTS_H

#include <cstdint>
#include <optional>
#include <string>

#include "platform/zk.h"

// Aliases followed, strings translated, typeless and canonical names.
inline constexpr uint32_t contexts_name_flags =
    DCV_DEREF_ALIASES | DCV_XLATE_STRINGS | DCV_TYPELESS_NAMES | DCV_CANONICALIZE_NAMES;
// The flags of every context that a script sees. The client accepts the further bit.
inline constexpr uint32_t contexts_flags = contexts_name_flags | 0x40;

// A context handle of the client's, freed with the object; 0 for none.
struct Context {
    uint32_t handle = 0;

    Context() = default;
    Context(const Context &) = delete;
    Context &operator=(const Context &) = delete;
    ~Context() { reset(); }
    void reset() {
        if (handle != 0) ZKDSFreeContext(release());
    }
    uint32_t release() {
        const uint32_t released = handle;
        handle = 0;
        return released;
    }
};

// Sets the environment variable TOLAN_USE_BRUNE to "0" unless it is set: the client looks at it when it starts.
void contexts_preset_environment();

// Makes the client ready: the environment, then the two initialisations. Returns 0 or the code of the first one that
// failed.
uint32_t contexts_start_client();

// A context bound to the tree. For a tree that the network does not know (null is none) the code is ZKE_TREE_NOT_FOUND
// and the handle has no tree; for all other codes the handle is 0. Throws std::bad_alloc.
uint32_t contexts_make(const char *tree, uint32_t &handle);

// Each opens a connection by name: to whatever the network knows by it, server or tree, or to a file server. Returns
// the client's code.
uint32_t contexts_open(const char *name, uint32_t &connection);
uint32_t contexts_open_server(const char *name, uint32_t &connection);

// Reads whether a connection is authenticated: 0 for none. Returns the client's code.
uint32_t contexts_authentication(uint32_t connection, uint32_t &state);

// The server's and the tree's name that a connection tells. Return the client's code; `name` is set for 0 only. Throw
// std::bad_alloc.
uint32_t contexts_server_name(uint32_t connection, std::string &name);
uint32_t contexts_tree_name(uint32_t connection, std::string &name); // 32 bytes, padded on the right with "_"

// A tree's name without its padding; one that fills all 32 bytes is kept whole.
std::string contexts_strip_padding(std::string name);

// The tree of that name as the network spells it, and the tree that a server belongs to. None for null. Throw
// std::bad_alloc.
std::optional<std::string> contexts_tree(const char *tree);
std::optional<std::string> contexts_tree_of_server(const char *server);

// The server of the current tree's connection, or without a tree of the default one; that of a tree's connection. Throw
// std::bad_alloc.
std::optional<std::string> contexts_default_server();
std::optional<std::string> contexts_default_server_of(const char *tree);

// Of the default connection; 0 and QRT_NOT_FOUND when unknown.
uint32_t contexts_user_number();
uint32_t contexts_connection_number();

#endif
