// Resolving a volume or directory-map object for a file specification. Declared in file_spec.h.
#include <cstring>
#include <new>
#include <string>

#include "base/output.h"
#include "commands/file_spec.h"
#include "directory/attributes.h"
#include "directory/contexts.h"
#include "directory/names.h"
#include "platform/zk.h"

constexpr size_t out_size = 514;

static void copy_out(char *out, size_t size, const std::string &text) {
    const size_t length = text.size() < size ? text.size() : size - 1;
    memcpy(out, text.data(), length);
    out[length] = '\0';
}

// A name without a context belongs to the logged-in user's container.
static std::string in_users_container(uint32_t handle, const std::string &name) {
    if (name.find('.') != name.npos) return name;
    char user[ZK_MAX_NAME + 1] = "";
    ZKDSWhoAmI(handle, user);
    if (strlen(user) <= 2) return name;
    char container[ZK_MAX_NAME + 1];
    DSRemoveNameFromFullName(user, container, nullptr, nullptr);
    return name + "." + container;
}

static uint32_t resolve(uint32_t handle, std::string name, const char *tree, char *serverOut, char *volumeOut,
                        char *pathOut) {
    name = in_users_container(handle, name);
    std::string target, volume, server;
    if (attributes_last_text(handle, name.c_str(), "Path", target) == 0) {
        const size_t colon = target.find(':');
        if (colon != target.npos) copy_out(pathOut, out_size, target.substr(colon + 1));
        name = target.substr(0, colon);
    }
    uint32_t code = attributes_last_text(handle, name.c_str(), "Host_Resource_Name", volume);
    if (code != 0) {
        // To standard output, unlike every other message: required.
        output_print(output_translate("Unable to find volume object %1$s in tree: %2$s\n"), name.c_str(), tree);
        return code;
    }
    copy_out(volumeOut, out_size, volume);
    code = attributes_last_text(handle, name.c_str(), "Host_Server", server);
    copy_out(serverOut, ZK_SERVER_NAME_SIZE, server.substr(0, server.find('.')));
    return code;
}

// The context in which the objects are read: aliases are followed and names carry no types. It is to be freed whenever
// `handle` is not 0.
static uint32_t make_typeless(const char *tree, uint32_t &handle) {
    uint32_t code = ZKDSCreateContextHandle(&handle);
    if (code != 0) return code;
    const uint32_t flags = 23;
    code = ZKDSSetContext(handle, DCK_FLAGS, &flags);
    if (code != 0) return code;
    code = ZKDSSetContext(handle, DCK_TREE_NAME, tree);
    if (code != 0) say("Unable to find treeName:(%s)\n", tree);
    return code;
}

static uint32_t resolve_in(uint32_t given, const char *name, char *serverOut, char *volumeOut, char *pathOut) {
    char tree[ZK_MAX_NAME + 1] = "", shortened[ZK_MAX_NAME + 1] = "";
    uint32_t code = ZKDSGetContext(given, DCK_TREE_NAME, tree);
    if (code == 0) code = ZKDSAbbreviateName(given, name, shortened);
    if (code != 0) return code;
    uint32_t typeless = 0;
    code = make_typeless(tree, typeless);
    if (code == 0) code = resolve(typeless, shortened, tree, serverOut, volumeOut, pathOut);
    if (typeless != 0) ZKDSFreeContext(typeless);
    return code;
}

uint32_t orbispec(const char *name, char *serverOut, char *volumeOut, char *pathOut) try {
    if (!name || !serverOut || !volumeOut || !pathOut) return QRT_NOT_FOUND;
    serverOut[0] = volumeOut[0] = pathOut[0] = '\0';
    if (name[0] == '.') name++;
    contexts_preset_environment();
    uint32_t code = ZKCLXInit(nullptr, nullptr);
    if (code != 0) return code;
    uint32_t given = 0;
    code = ZKDSCreateContextHandle(&given);
    if (code != 0) return code;
    code = resolve_in(given, name, serverOut, volumeOut, pathOut);
    ZKDSFreeContext(given);
    return code;
} catch (const std::bad_alloc &) {
    return QRT_NOT_FOUND;
}
