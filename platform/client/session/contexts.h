// Directory contexts: the handles that carry a tree, a name context and the form of names from call to call.
#ifndef PLATFORM_CLIENT_SESSION_CONTEXTS_H
#define PLATFORM_CLIENT_SESSION_CONTEXTS_H

#include <cstdint>

#include "platform/client/core/values.h"
#include "platform/client/session/handles.h"
#include "platform/client/session/trees.h"

struct Context {
    uint32_t flags;
    Name nameContext;
    Tree *tree;              // null: the default tree, whichever that is at the time
    uint32_t lastConnection; // handle, 0 for none
};

// The open contexts; ZKE_BAD_HANDLE for others.
HandleTable<Context> &contexts();

// The tree that the context is bound to, or the default one. The second loads it. Throw CodedError,
// ZKE_TREE_NOT_FOUND, when there is no tree at all, and DataError.
Tree &context_meant_tree(const Context &context);
Tree &context_tree(const Context &context);

// How the context wants names to be returned.
NameForm context_form(const Context &context);

// A name as the context understands it. Throws CodedError, ZKE_MALFORMED_NAME.
Name context_name(const Context &context, const char *name);

// Reads the entry of such a name: the context's last connection becomes one to its tree, unless it is one already.
// Throws CodedError, also ZKE_NO_SUCH_ENTRY.
EntryPtr context_read(Context *context, const char *name);

#endif
