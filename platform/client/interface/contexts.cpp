#include "platform/client/interface/contexts.h"

#include <cstring>
#include <map>

#include "platform/client/interface/boundary.h"
#include "platform/client/interface/connections.h"
#include "platform/client/session/login_password.h"

namespace {

constexpr uint32_t first_flags = DCV_DEREF_ALIASES | DCV_XLATE_STRINGS | DCV_CANONICALIZE_NAMES;
constexpr uint32_t known_flags = first_flags | DCV_TYPELESS_NAMES | 0x40;

struct Table {
    std::map<uint32_t, Context> open;
    uint32_t lastHandle = 0;
};

Table &table() {
    static Table the_table;
    return the_table;
}

uint32_t set_flags(Context *context, const void *value) {
    uint32_t flags;
    memcpy(&flags, value, sizeof flags);
    if ((flags & ~known_flags) != 0) {
        return ZKE_BAD_PARAMETER;
    }
    context->flags = flags;
    return ZK_OK;
}

uint32_t set_name_context(Context *context, const char *value) {
    Name name;
    if (*value != '\0' && !name_parse_dotted(value, {}, &name)) {
        return ZKE_MALFORMED_NAME;
    }
    context->nameContext = name;
    return ZK_OK;
}

uint32_t set_last_connection(Context *context, const void *value) {
    uint32_t connection;
    memcpy(&connection, value, sizeof connection);
    if (connection_find(connection) == nullptr) {
        return ZKE_CONN_INVALID;
    }
    context->lastConnection = connection;
    return ZK_OK;
}

uint32_t set_tree(Context *context, const char *value) {
    Tree *tree = tree_find(value);
    if (tree == nullptr) {
        return ZKE_TREE_NOT_FOUND;
    }
    tree_load(tree);
    if (tree->openedUnasked) {
        tree_default_server(*tree); // throws CodedError while the directory cannot be asked
        tree->openedUnasked = false;
    }
    context->tree = tree;
    return ZK_OK;
}

uint32_t get_name_context(const Context &context, char *value) {
    NameForm form = context_form(context);
    return context_put_name(context.nameContext.empty() ? "" : name_to_dotted(context.nameContext, form.typed), value);
}

uint32_t get_last_connection(const Context &context, void *value) {
    if (connection_find(context.lastConnection) == nullptr) {
        return ZKE_CONN_INVALID;
    }
    memcpy(value, &context.lastConnection, sizeof context.lastConnection);
    return ZK_OK;
}

uint32_t get_tree(const Context &context, char *value) {
    const Tree *tree = context.tree != nullptr ? context.tree : tree_default();
    return tree == nullptr ? ZKE_TREE_NOT_FOUND : context_put_name(tree->config.name, value);
}

} // namespace

uint32_t context_find(uint32_t handle, Context **context) {
    auto found = table().open.find(handle);
    if (found == table().open.end()) {
        return ZKE_BAD_HANDLE;
    }
    *context = &found->second;
    return ZK_OK;
}

uint32_t context_tree(uint32_t handle, Context **context, Tree **tree) {
    uint32_t code = context_find(handle, context);
    if (code != ZK_OK) {
        return code;
    }
    Tree *meant = (*context)->tree != nullptr ? (*context)->tree : tree_default();
    if (meant == nullptr) {
        return ZKE_TREE_NOT_FOUND;
    }
    tree_load(meant);
    *tree = meant;
    return ZK_OK;
}

NameForm context_form(const Context &context) {
    NameForm form;
    form.typed = (context.flags & DCV_TYPELESS_NAMES) == 0;
    form.complete = (context.flags & DCV_CANONICALIZE_NAMES) != 0;
    form.context = context.nameContext;
    return form;
}

uint32_t context_find_entry(const Context &context, const Tree &tree, const char *name, EntryPtr *entry) {
    Name parsed;
    if (!name_parse_dotted(name, context.nameContext, &parsed)) {
        return ZKE_MALFORMED_NAME;
    }
    Aliases aliases = (context.flags & DCV_DEREF_ALIASES) != 0 ? Aliases::Follow : Aliases::Keep;
    return tree.store->find(tree_meant_name(tree, parsed), aliases, entry);
}

void context_note_read(Context *context, Tree *tree) {
    Connection *last = connection_find(context->lastConnection);
    if (last != nullptr && last->tree == tree) {
        return;
    }
    // Without a free slot the read still counts, it is only not told which connection served it.
    if (connection_open_tree(tree, &last) == ZK_OK) {
        context->lastConnection = last->handle;
    }
}

uint32_t context_put_name(const std::string &name, char *buffer) {
    if (name.size() > ZK_MAX_NAME) {
        return ZKE_BUFFER_TOO_SMALL;
    }
    memcpy(buffer, name.c_str(), name.size() + 1);
    return ZK_OK;
}

uint32_t ZKDSCreateContextHandle(uint32_t *context) {
    if (context == nullptr) {
        return ZKE_BAD_PARAMETER;
    }
    uint32_t code = guarded([&]() -> uint32_t {
        table().open.emplace(table().lastHandle + 1, Context{first_flags, {}, nullptr, 0});
        *context = ++table().lastHandle;
        return ZK_OK;
    });
    return code == ZK_OK ? ZK_OK : ZKE_BAD_CONTEXT;
}

uint32_t ZKDSFreeContext(uint32_t context) {
    login_password_end_attempts();
    return guarded([&]() -> uint32_t { return table().open.erase(context) == 1 ? ZK_OK : ZKE_BAD_HANDLE; });
}

uint32_t ZKDSSetContext(uint32_t context, int key, const void *value) {
    return guarded([&]() -> uint32_t {
        Context *found = nullptr;
        uint32_t code = context_find(context, &found);
        if (code != ZK_OK || value == nullptr) {
            return code != ZK_OK ? code : ZKE_BAD_PARAMETER;
        }
        switch (key) {
            case DCK_FLAGS:
                return set_flags(found, value);
            case DCK_NAME_CONTEXT:
                return set_name_context(found, static_cast<const char *>(value));
            case DCK_LAST_CONNECTION:
                return set_last_connection(found, value);
            case DCK_TREE_NAME:
                return set_tree(found, static_cast<const char *>(value));
            default:
                return ZKE_BAD_PARAMETER;
        }
    });
}

uint32_t ZKDSGetContext(uint32_t context, int key, void *value) {
    return guarded([&]() -> uint32_t {
        Context *found = nullptr;
        uint32_t code = context_find(context, &found);
        if (code != ZK_OK || value == nullptr) {
            return code != ZK_OK ? code : ZKE_BAD_PARAMETER;
        }
        switch (key) {
            case DCK_FLAGS:
                memcpy(value, &found->flags, sizeof found->flags);
                return ZK_OK;
            case DCK_NAME_CONTEXT:
                return get_name_context(*found, static_cast<char *>(value));
            case DCK_LAST_CONNECTION:
                return get_last_connection(*found, value);
            case DCK_TREE_NAME:
                return get_tree(*found, static_cast<char *>(value));
            default:
                return ZKE_BAD_PARAMETER;
        }
    });
}
