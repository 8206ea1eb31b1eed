#include "commands/volume_object.h"

#include <cstring>

#include "base/output.h"
#include "directory/attributes.h"
#include "directory/contexts.h"
#include "directory/names.h"
#include "platform/zk.h"

static std::string cut(const std::string &text, size_t size) {
    return text.substr(0, size - 1);
}

// A name without a context belongs to the logged-in user's container.
static std::string in_users_container(uint32_t handle, const std::string &name) {
    if (name.find('.') != name.npos) return name;
    char user[ZK_MAX_NAME + 1] = "";
    ZKDSWhoAmI(handle, user);
    if (strlen(user) <= 2) return name;
    return name + "." + names_split(user).parent;
}

static uint32_t last_text(uint32_t handle, const std::string &object, const char *attribute, std::string &text) {
    AttributeText value;
    const uint32_t code = attributes_last_value(handle, object.c_str(), attribute, value);
    if (code == 0 && value.text != nullptr) text = value.text;
    return code;
}

static uint32_t resolve(uint32_t handle, std::string name, const char *tree, VolumeLocation &found) {
    name = in_users_container(handle, name);
    std::string target, volume, server;
    if (last_text(handle, name, "Path", target) == 0) {
        const size_t colon = target.find(':');
        if (colon != target.npos) found.path = cut(target.substr(colon + 1), volume_object_name_size);
        name = target.substr(0, colon);
    }
    uint32_t code = last_text(handle, name, "Host_Resource_Name", volume);
    if (code != 0) {
        // To standard output, unlike every other message: required.
        output_print(output_translate("Unable to find volume object %1$s in tree: %2$s\n"), name.c_str(), tree);
        return code;
    }
    found.volume = cut(volume, volume_object_name_size);
    code = last_text(handle, name, "Host_Server", server);
    found.server = cut(server.substr(0, server.find('.')), volume_object_server_size);
    return code;
}

// The context in which the objects are read: aliases are followed and names carry no types.
static uint32_t make_typeless(const char *tree, uint32_t &handle) {
    uint32_t code = ZKDSCreateContextHandle(&handle);
    if (code != 0) return code;
    const uint32_t flags = contexts_name_flags;
    code = ZKDSSetContext(handle, DCK_FLAGS, &flags);
    if (code != 0) return code;
    code = ZKDSSetContext(handle, DCK_TREE_NAME, tree);
    if (code != 0) say("Unable to find treeName:(%s)\n", tree);
    return code;
}

static uint32_t resolve_in(uint32_t given, const char *name, VolumeLocation &found) {
    char tree[ZK_MAX_NAME + 1] = "", shortened[ZK_MAX_NAME + 1] = "";
    uint32_t code = ZKDSGetContext(given, DCK_TREE_NAME, tree);
    if (code == 0) code = ZKDSAbbreviateName(given, name, shortened);
    if (code != 0) return code;
    Context typeless;
    code = make_typeless(tree, typeless.handle);
    return code == 0 ? resolve(typeless.handle, shortened, tree, found) : code;
}

uint32_t volume_object_find(const char *name, VolumeLocation &found) {
    if (name[0] == '.') name++;
    contexts_preset_environment();
    uint32_t code = ZKCLXInit(nullptr, nullptr);
    if (code != 0) return code;
    Context given;
    code = ZKDSCreateContextHandle(&given.handle);
    return code == 0 ? resolve_in(given.handle, name, found) : code;
}
