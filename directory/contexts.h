// Directory contexts, and what connections know of trees and servers. Connections that are opened here stay open.
#ifndef DIRECTORY_CONTEXTS_H
#define DIRECTORY_CONTEXTS_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

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
    uint32_t release() { return std::exchange(handle, 0); }
};

// Sets the environment variable TOLAN_USE_BRUNE to "0" unless it is set: the client reads it when it starts.
void contexts_preset_environment();

// Makes the client ready: the environment, then the two initialisations. Returns 0 or the code of the first one that
// failed.
uint32_t contexts_start_client();

// qrt_Getctx (qrtscript.h).
uint32_t contexts_make(const char *tree, uint32_t &handle);

// Each returns the client's code: opens a connection to whatever the network knows by that name, server or tree; to a
// file server; reads whether a connection is authenticated, 0 for none; the names of its server and of its tree, which
// is 32 bytes, padded on the right with "_".
uint32_t contexts_open(const char *name, uint32_t &connection);
uint32_t contexts_open_server(const char *name, uint32_t &connection);
uint32_t contexts_authentication(uint32_t connection, uint32_t &state);
uint32_t contexts_server_name(uint32_t connection, std::string &name);
uint32_t contexts_tree_name(uint32_t connection, std::string &name);

// A tree's name without its padding; one that fills all 32 bytes is kept whole.
std::string contexts_strip_padding(std::string name);

// qrt_GetTreeName, qrt_GetTreeFromServer, qrt_GetDefaultServer and qrt_GetDefaultServerFromTree (qrtscript.h).
std::optional<std::string> contexts_tree(const char *tree);
std::optional<std::string> contexts_tree_of_server(const char *server);
std::optional<std::string> contexts_default_server();
std::optional<std::string> contexts_default_server_of(const char *tree);

// qrt_UserID and qrt_StationNumber.
uint32_t contexts_user_number();
uint32_t contexts_connection_number();

#endif
