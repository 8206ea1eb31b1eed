// Names from call to call: complete ones and short ones.
#include <algorithm>

#include "platform/client/interface/answers.h"
#include "platform/client/interface/boundary.h"
#include "platform/client/session/contexts.h"

static bool has_all_types(const Name &name) {
    return std::none_of(
        name.begin(), name.end(), [](const NamePart &part) { return part.type.empty(); });
}

// Names handed out with types need them: those of the tree, from the object's own entry or the nearest above it, or for
// an object that does not exist those that its place suggests.
static void add_types(const Tree &tree, Name *name) {
    *name = tree_meant_name(tree, *name);
    for (size_t i = 0; i == 0 || i < name->size(); i++) {
        const Name above = name_above(*name, i);
        if (const EntryPtr entry = tree.store->find(i == 0 ? above : tree_meant_name(tree, above), Aliases::keep)) {
            std::copy(entry->name.begin(), entry->name.end(), name->begin() + static_cast<std::ptrdiff_t>(i));
            break;
        }
    }
    name_type_by_place(name);
}

static uint32_t put_form(uint32_t handle, const char *name, bool complete, char *result) {
    return guarded([&] {
        error_unless(name != nullptr && result != nullptr, ZKE_BAD_PARAMETER);
        const Context &context = contexts().at(handle);
        Name parsed = context_name(context, name);
        NameForm form = context_form(context);
        form.complete = complete;
        if (form.typed && !has_all_types(parsed)) add_types(context_tree(context), &parsed);
        put_name(name_in_form(parsed, form), result);
    });
}

uint32_t ZKDSCanonicalizeName(uint32_t context, const char *name, char *canonical) {
    return put_form(context, name, true, canonical);
}

uint32_t ZKDSAbbreviateName(uint32_t context, const char *name, char *abbreviated) {
    return put_form(context, name, false, abbreviated);
}
