#include "platform/client/session/contexts.h"

#include "platform/client/interface/answers.h"
#include "platform/client/interface/boundary.h"
#include "platform/client/session/connections.h"
#include "platform/client/session/login_password.h"
#include "platform/common/context_flags.h"

static constexpr uint32_t first_flags = DCV_DEREF_ALIASES | DCV_XLATE_STRINGS | DCV_CANONICALIZE_NAMES;
static constexpr uint32_t known_flags = login_context_flags;

static void set_flags(Context *context, uint32_t flags) {
    error_unless((flags & ~known_flags) == 0, ZKE_BAD_PARAMETER);
    context->flags = flags;
}

static void set_name_context(Context *context, const char *value) {
    Name name;
    error_unless(*value == '\0' || name_parse_dotted(value, {}, &name), ZKE_MALFORMED_NAME);
    context->nameContext = name;
}

static void set_tree(Context *context, const char *value) {
    Tree *tree = tree_find(value);
    error_unless(tree != nullptr, ZKE_TREE_NOT_FOUND);
    tree_load(tree);
    if (tree->openedUnasked) {
        tree_default_server(*tree); // throws CodedError while the directory cannot be asked
        tree->openedUnasked = false;
    }
    context->tree = tree;
}

static std::string name_context_text(const Context &context) {
    return context.nameContext.empty() ? "" : name_to_dotted(context.nameContext, context_form(context).typed);
}

uint32_t ZKDSCreateContextHandle(uint32_t *context) {
    if (context == nullptr) return ZKE_BAD_PARAMETER;
    uint32_t code = guarded([&] { *context = contexts().open({first_flags, {}, nullptr, 0}); });
    return code == ZK_OK ? ZK_OK : ZKE_BAD_CONTEXT;
}

uint32_t ZKDSFreeContext(uint32_t context) {
    login_password_end_attempts();
    return guarded([&] { contexts().close(context); });
}

uint32_t ZKDSSetContext(uint32_t context, int key, const void *value) {
    return guarded([&] {
        Context &found = contexts().at(context);
        error_unless(value != nullptr, ZKE_BAD_PARAMETER);
        switch (key) {
            case DCK_FLAGS:
                set_flags(&found, take_number(value));
                break;
            case DCK_NAME_CONTEXT:
                set_name_context(&found, static_cast<const char *>(value));
                break;
            case DCK_LAST_CONNECTION:
                found.lastConnection = connections().at(take_number(value)).handle;
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
        const Context &found = contexts().at(context);
        error_unless(value != nullptr, ZKE_BAD_PARAMETER);
        switch (key) {
            case DCK_FLAGS:
                put_number(found.flags, value);
                break;
            case DCK_NAME_CONTEXT:
                put_name(name_context_text(found), static_cast<char *>(value));
                break;
            case DCK_LAST_CONNECTION:
                put_number(connections().at(found.lastConnection).handle, value);
                break;
            case DCK_TREE_NAME:
                put_name(context_meant_tree(found).config.name, static_cast<char *>(value));
                break;
            default:
                throw CodedError(ZKE_BAD_PARAMETER);
        }
    });
}
