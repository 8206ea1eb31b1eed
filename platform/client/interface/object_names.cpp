// Names from call to call: complete ones and short ones.
#include "platform/client/interface/boundary.h"
#include "platform/client/interface/contexts.h"

namespace {

bool has_all_types(const Name &name) {
    for (const NamePart &part : name) {
        if (part.type.empty()) {
            return false;
        }
    }
    return true;
}

// Names handed out with types need them: those of the tree, or for an object that does not exist those that its place
// suggests.
void add_types(const Tree &tree, Name *name) {
    EntryPtr entry;
    *name = tree_meant_name(tree, *name);
    if (tree.store->find(*name, Aliases::Keep, &entry) == ZK_OK) {
        *name = entry->name;
        return;
    }
    for (size_t i = 1; i < name->size(); i++) {
        if (tree.store->find(tree_meant_name(tree, name_above(*name, i)), Aliases::Keep, &entry) == ZK_OK) {
            std::copy(entry->name.begin(), entry->name.end(), name->begin() + static_cast<std::ptrdiff_t>(i));
            break;
        }
    }
    name_type_by_place(name);
}

uint32_t put_form(uint32_t handle, const char *name, bool complete, char *result) {
    if (name == nullptr || result == nullptr) {
        return ZKE_BAD_PARAMETER;
    }
    Context *context = nullptr;
    uint32_t code = context_find(handle, &context);
    if (code != ZK_OK) {
        return code;
    }
    Name parsed;
    if (!name_parse_dotted(name, context->nameContext, &parsed)) {
        return ZKE_MALFORMED_NAME;
    }
    NameForm form = context_form(*context);
    form.complete = complete;
    if (form.typed && !has_all_types(parsed)) {
        Tree *tree = nullptr;
        code = context_tree(handle, &context, &tree);
        if (code != ZK_OK) {
            return code;
        }
        add_types(*tree, &parsed);
    }
    return context_put_name(name_in_form(parsed, form), result);
}

} // namespace

uint32_t ZKDSCanonicalizeName(uint32_t context, const char *name, char *canonical) {
    return guarded([&]() -> uint32_t { return put_form(context, name, true, canonical); });
}

uint32_t ZKDSAbbreviateName(uint32_t context, const char *name, char *abbreviated) {
    return guarded([&]() -> uint32_t { return put_form(context, name, false, abbreviated); });
}
