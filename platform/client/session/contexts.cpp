#include "platform/client/session/contexts.h"

#include "platform/client/session/connections.h"

static void note_read(Context *context, Tree *tree) {
    const Connection *last = connections().find(context->lastConnection);
    if (last != nullptr && last->tree == tree) return;
    try {
        context->lastConnection = connection_open_tree(tree).handle;
    } catch (const CodedError &error) {
        // Without a free slot the read still counts, only the connection that served it is not reported.
        if (error.code != ZKE_SERVER_NO_SLOTS) throw;
    }
}

HandleTable<Context> &contexts() {
    static HandleTable<Context> open(ZKE_BAD_HANDLE);
    return open;
}

Tree &context_meant_tree(const Context &context) {
    Tree *meant = context.tree != nullptr ? context.tree : tree_default();
    error_unless(meant != nullptr, ZKE_TREE_NOT_FOUND);
    return *meant;
}

Tree &context_tree(const Context &context) {
    Tree &tree = context_meant_tree(context);
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
    const Aliases aliases = (context->flags & DCV_DEREF_ALIASES) != 0 ? Aliases::follow : Aliases::keep;
    EntryPtr entry = tree.store->find(tree_meant_name(tree, context_name(*context, name)), aliases);
    error_unless(entry != nullptr, ZKE_NO_SUCH_ENTRY);
    note_read(context, &tree);
    return entry;
}
