#include "platform/client/interface/contexts.h"

#include <map>

#include "platform/client/interface/answers.h"
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

// The tree that the context is bound to, or the default one. Not loaded.
Tree &meant_tree(const Context &context) {
    Tree *meant = context.tree != nullptr ? context.tree : tree_default();
    error_unless(meant != nullptr, ZKE_TREE_NOT_FOUND);
    return *meant;
}

void set_flags(Context *context, uint32_t flags) {
    error_unless((flags & ~known_flags) == 0, ZKE_BAD_PARAMETER);
    context->flags = flags;
}

void set_name_context(Context *context, const char *value) {
    Name name;
    error_unless(*value == '\0' || name_parse_dotted(value, {}, &name), ZKE_MALFORMED_NAME);
    context->nameContext = name;
}

void set_tree(Context *context, const char *value) {
    Tree *tree = tree_find(value);
    error_unless(tree != nullptr, ZKE_TREE_NOT_FOUND);
    tree_load(tree);
    if (tree->openedUnasked) {
        tree_default_server(*tree); // throws CodedError while the directory cannot be asked
        tree->openedUnasked = false;
    }
    context->tree = tree;
}

void note_read(Context *context, Tree *tree) {
    const Connection *last = connection_find(context->lastConnection);
    if (last != nullptr && last->tree == tree) {
        return;
    }
    try {
        context->lastConnection = connection_open_tree(tree).handle;
    } catch (const CodedError &error) {
        // Without a free slot the read still counts, it is only not told which connection served it.
        if (error.code != ZKE_SERVER_NO_SLOTS) {
            throw;
        }
    }
}

std::string name_context_text(const Context &context) {
    return context.nameContext.empty() ? "" : name_to_dotted(context.nameContext, context_form(context).typed);
}

} // namespace

Context &context_of(uint32_t handle) {
    auto found = table().open.find(handle);
    error_unless(found != table().open.end(), ZKE_BAD_HANDLE);
    return found->second;
}

Tree &context_tree(const Context &context) {
    Tree &tree = meant_tree(context);
    tree_load(&tree);
    return tree;
}

NameForm context_form(const Context &context) {
    NameForm form;
    form.typed = (context.flags & DCV_TYPELESS_NAMES) == 0;
    form.complete = (context.flags & DCV_CANONICALIZE_NAMES) != 0;
    form.context = context.nameContext;
    return form;
}

Name context_name(const Context &context, const char *name) {
    Name parsed;
    error_unless(name_parse_dotted(name, context.nameContext, &parsed), ZKE_MALFORMED_NAME);
    return parsed;
}

EntryPtr context_read(Context *context, const char *name) {
    Tree &tree = context_tree(*context);
    const Aliases aliases = (context->flags & DCV_DEREF_ALIASES) != 0 ? Aliases::Follow : Aliases::Keep;
    EntryPtr entry = tree.store->find(tree_meant_name(tree, context_name(*context, name)), aliases);
    error_unless(entry != nullptr, ZKE_NO_SUCH_ENTRY);
    note_read(context, &tree);
    return entry;
}

uint32_t ZKDSCreateContextHandle(uint32_t *context) {
    if (context == nullptr) {
        return ZKE_BAD_PARAMETER;
    }
    uint32_t code = guarded([&] {
        table().open.emplace(table().lastHandle + 1, Context{first_flags, {}, nullptr, 0});
        *context = ++table().lastHandle;
    });
    return code == ZK_OK ? ZK_OK : ZKE_BAD_CONTEXT;
}

uint32_t ZKDSFreeContext(uint32_t context) {
    login_password_end_attempts();
    return guarded([&] { error_unless(table().open.erase(context) == 1, ZKE_BAD_HANDLE); });
}

uint32_t ZKDSSetContext(uint32_t context, int key, const void *value) {
    return guarded([&] {
        Context &found = context_of(context);
        error_unless(value != nullptr, ZKE_BAD_PARAMETER);
        switch (key) {
            case DCK_FLAGS:
                set_flags(&found, take_number(value));
                break;
            case DCK_NAME_CONTEXT:
                set_name_context(&found, static_cast<const char *>(value));
                break;
            case DCK_LAST_CONNECTION:
                found.lastConnection = connection_of(take_number(value)).handle;
                break;
            case DCK_TREE_NAME:
                set_tree(&found, static_cast<const char *>(value));
                break;
            default:
                throw CodedError(ZKE_BAD_PARAMETER);
        }
    });
}

uint32_t ZKDSGetContext(uint32_t context, int key, void *value) {
    return guarded([&] {
        const Context &found = context_of(context);
        error_unless(value != nullptr, ZKE_BAD_PARAMETER);
        switch (key) {
            case DCK_FLAGS:
                put_number(found.flags, value);
                break;
            case DCK_NAME_CONTEXT:
                put_name(name_context_text(found), static_cast<char *>(value));
                break;
            case DCK_LAST_CONNECTION:
                put_number(connection_of(found.lastConnection).handle, value);
                break;
            case DCK_TREE_NAME:
                put_name(meant_tree(found).config.name, static_cast<char *>(value));
                break;
            default:
                throw CodedError(ZKE_BAD_PARAMETER);
        }
    });
}
