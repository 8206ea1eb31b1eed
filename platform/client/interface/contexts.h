// Directory contexts: the handles that carry a tree, a name context and the form of names from call to call.
#ifndef PLATFORM_CLIENT_INTERFACE_CONTEXTS_H
#define PLATFORM_CLIENT_INTERFACE_CONTEXTS_H

#include <cstdint>

#include "platform/client/core/values.h"
#include "platform/client/session/trees.h"

struct Context {
    uint32_t flags;
    Name nameContext;
    Tree *tree;              // null: the default tree, whichever that is at the time
    uint32_t lastConnection; // handle, 0 for none
};

// ZKE_BAD_HANDLE for a handle that was never made or has been freed.
uint32_t context_find(uint32_t handle, Context **context);

// The context and its tree, loaded. ZKE_TREE_NOT_FOUND when there is no tree at all. Throws DataError.
uint32_t context_tree(uint32_t handle, Context **context, Tree **tree);

// How the context wants names to be handed out.
NameForm context_form(const Context &context);

// The entry of a name as the context understands it. ZKE_MALFORMED_NAME, or the store's code.
uint32_t context_find_entry(const Context &context, const Tree &tree, const char *name, EntryPtr *entry);

// The tree has been read: the context's last connection becomes one to it, unless it is one already.
void context_note_read(Context *context, Tree *tree);

// Copies a name into a caller's buffer of ZK_MAX_NAME and the NUL; ZKE_BUFFER_TOO_SMALL for a longer one.
uint32_t context_put_name(const std::string &name, char *buffer);

#endif
