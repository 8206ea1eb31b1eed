// What this folder exports, declared in qrtscript.h: the checks of the arguments, the guard, and copies of the results.
#include <cstdio>
#include <cstring>

#include "base/guard.h"
#include "base/output.h"
#include "directory/attribute_compare.h"
#include "directory/attributes.h"
#include "directory/contexts.h"
#include "directory/identifiers.h"
#include "directory/names.h"
#include "directory/script_sources.h"
#include "directory/servers.h"
#include "directory/session.h"
#include "directory/substitution.h"
#include "directory/tree_login.h"
#include "directory/volumes.h"
#include "qrtscript.h"

// ---- the session's state ----

char *qrt_GetCurrentContext() {
    return CurrentContext;
}
char *qrt_GetInitialContext() {
    return InitialContext;
}
char *qrt_GetObject() {
    return CurrentObject;
}
char *qrt_GetCurrentTree() {
    session_tree();
    return CurrentTree;
}
char *qrt_GetServer() {
    return guarded(
        nullptr, [] { return text_copy_or_null(uservars[0]).release(); });
}

// The stored copy, or null when there is no memory for one.
static char *stored(void (*set)(const char *value), const char *value, char *const &global) {
    return guarded(
        nullptr,
        [&]() -> char * {
            set(value);
            return global;
        });
}

char *qrt_SetCurrentObject(const char *name) {
    return stored(session_set_object, name, CurrentObject);
}
char *qrt_SetLoginName(const char *name) {
    return stored(session_set_login_name, name, LoginName);
}
char *qrt_SetInitialContext(const char *context) {
    return stored(session_set_initial_context, context, InitialContext);
}

int qrt_SetCurrentContext(char *context) {
    return context != nullptr ? guarded(
                                    EOF, [&] { return session_set_context(context); })
                              : 0;
}

static void nothing() {}

void qrt_SetUserVar(int index, const char *value) {
    guarded(
        nothing, [&] { session_set_variable(index, value); });
}
void qrt_ShiftVars(int count) {
    guarded(
        nothing, [&] { session_shift_variables(count); });
}

char *qrt_Object() {
    return guarded_text(session_object);
}
char *qrt_LoggedInObject() {
    return guarded_text(session_logged_in_object);
}

int qrt_getPauseResponse() {
    return session_pause();
}
uint32_t qrt_CheckIfLoggedIn(uint32_t handle) {
    return ZKDSCanDSAuthenticate(handle);
}

// ---- script sources ----

// For 0 the text that `read` sets.
template <typename Read>
static uint32_t handed_out(uint32_t withoutMemory, char **text, Read read) {
    return guarded(
        withoutMemory,
        [&] {
            std::string found;
            const uint32_t code = read(found);
            if (code == ZK_OK) *text = text_copy(found).release();
            return code;
        });
}

char *qrt_readLoginScriptFromFile(const char *path) {
    return script_sources_file(path).release();
}

uint32_t qrt_GetLoginScript(uint32_t handle, const char *objectName, char **text) {
    // What the session's object is when memory has run out for its name.
    if (objectName == nullptr) return ZKE_NO_SUCH_ENTRY;
    if (text == nullptr) return ZKE_BAD_PARAMETER;
    return handed_out(ZKE_NO_MEMORY, text,
                      [&](auto &found) { return script_sources_object(handle, objectName, found); });
}

uint32_t qrt_get_container(uint32_t handle, const char *objectName, char **text) {
    if (objectName == nullptr || text == nullptr) return QRT_NOT_FOUND;
    return handed_out(QRT_NOT_FOUND, text,
                      [&](auto &found) { return script_sources_container(handle, objectName, found); });
}

int __get_default_script(char **text) {
    if (text != nullptr)
        *text = guarded_text(script_sources_default);
    else
        TRACE(__get_default_script, 3, "entering...");
    return 0;
}

// ---- identifiers and attributes ----

uint32_t qrt_GetIdentifierValue(uint32_t handle, const char *object, const char *identifier, char **value) {
    if (identifier == nullptr || value == nullptr) return QRT_NOT_FOUND;
    char *found = guarded_text([&] { return identifiers_value(handle, object, identifier); });
    if (found == nullptr) return QRT_NOT_FOUND;
    *value = found;
    return 0;
}

char *qrt_find_replace_ids(uint32_t handle, const char *text) {
    if (text == nullptr) return nullptr;
    return guarded(nullptr, [&] { return substitution_of(handle, text).release(); });
}

char *qrt_GetEnvVar(const char *name) {
    if (name == nullptr) return nullptr;
    return guarded(nullptr, [&] { return text_copy_or_null(identifiers_variable(name)).release(); });
}

uint32_t qrt_GetAttribute(uint32_t handle, const char *object, const char *attribute, char **text) {
    if (attribute == nullptr || text == nullptr) return ZKE_BAD_PARAMETER;
    return guarded(ZKE_NO_MEMORY, [&] {
        OwnedText found;
        const uint32_t code = attributes_text(handle, object, attribute, found);
        if (found) *text = found.release();
        return code;
    });
}

uint32_t __GetAttribute(uint32_t handle, const char *object, const char *attribute, char **value) {
    if (attribute == nullptr || value == nullptr) return ZKE_BAD_PARAMETER;
    return guarded(ZKE_NO_MEMORY, [&] {
        AttributeText found;
        const uint32_t code = attributes_last_value(handle, object, attribute, found);
        if (code != ZK_OK) return code;
        static_cast<void>(found.owned.release());
        *value = found.text;
        return code;
    });
}

uint32_t qrt_compareAttribute(uint32_t handle, const char *object, const char *attribute, const char *name,
                              uint32_t *flag) {
    if (object == nullptr) return ZKE_NO_SUCH_ENTRY;
    if (attribute == nullptr || flag == nullptr) return ZKE_BAD_PARAMETER;
    return guarded(ZKE_NO_MEMORY,
                   [&] { return attribute_compare(handle, object, attribute, name != nullptr ? name : "", *flag); });
}

static const struct {
    uint32_t code;
    const char *name;
} error_names[] = {
    {ZKE_CONN_INVALID, "ZKE_CONN_INVALID"},         {ZKE_SERVER_NO_SLOTS, "ZKE_SERVER_NO_SLOTS"},
    {ZKE_SERVER_NOT_FOUND, "ZKE_SERVER_NOT_FOUND"}, {ZKE_DIFF_OBJECT_ALREADY_AUTHEN, "DIFF_OBJECT_ALREADY_AUTHEN"},
    {ZKE_NO_SUCH_VALUE, "ERR_NO_SUCH_VALUE"},       {ZKE_NO_SUCH_ENTRY, "ERR_NO_SUCH_ENTRY"},
};

char *qrt_Error(const char *api, const char *function, int line, uint32_t code) {
    const char *name = "";
    for (const auto &row : error_names)
        if (row.code == code) name = row.name;
    char record[2048];
    snprintf(record, sizeof record, "function:%s Line:%i - API:%s code:%04X %s\n", function != nullptr ? function : "",
             line, api != nullptr ? api : "", code, name);
    TRACE(qrt_Error, 4, "%s", record);
    return guarded_text([&] { return name; });
}

// ---- names and volumes ----

char *qrt_DSFindDelimiter(const char *text, const char *delimiter) {
    if (text == nullptr || delimiter == nullptr) return nullptr;
    const size_t at = names_find_delimiter(text, delimiter);
    return at == std::string_view::npos ? nullptr : const_cast<char *>(text + at);
}

static void put(char *out, std::string_view text) {
    if (out != nullptr) out[text.copy(out, text.size())] = '\0';
}

char *qrt_DSRemoveNameFromFullName(const char *name, char *parent, char *leaf, char *typedLeaf) {
    // The parts are copies, so that an out may be the buffer of the name itself.
    const NameParts parts = guarded(NameParts(), [&] { return names_split(name != nullptr ? name : ""); });
    put(parent, parts.parent);
    put(typedLeaf, parts.typedLeaf);
    put(leaf, parts.leaf);
    return leaf;
}

int qrt_abbrivateName(const char *in, char *out, int maxLen) {
    if (out == nullptr) return 0;
    const size_t longest = maxLen > 0 ? static_cast<size_t>(maxLen) : 0;
    const std::string kept =
        guarded(std::string(), [&] { return names_abbreviated(in != nullptr ? in : "", longest); });
    put(out, kept);
    return static_cast<int>(kept.size());
}

uint32_t qrt_DSGetObjConnID(uint32_t handle, const char *volumeObject, uint32_t *connection, char *server, void *) {
    return guarded(
        ZKE_NO_MEMORY,
        [&] {
            std::string name;
            const uint32_t code = volumes_server(handle, volumeObject, name);
            if (code != ZK_OK) return code;
            if (connection != nullptr) *connection = 0;
            return server == nullptr || names_copy(server, volumes_name_size, name) ? ZK_OK : QRT_NOT_FOUND;
        });
}

uint32_t qrt_DSGetPhysicalVolumeName(uint32_t handle, const char *volumeObject, char *volume) {
    if (volumeObject == nullptr || volume == nullptr) return QRT_NOT_FOUND;
    *volume = '\0';
    return guarded(ZKE_NO_MEMORY, [&] {
        std::string name;
        const uint32_t code = volumes_physical_name(handle, volumeObject, name);
        put(volume, name);
        return code;
    });
}

uint32_t qrt_CheckForDirectoryMap(uint32_t handle, const char *mapObject, char *volumeObject, char *rest) {
    if (mapObject == nullptr || volumeObject == nullptr || rest == nullptr) return QRT_NOT_FOUND;
    return guarded(ZKE_NO_MEMORY, [&] {
        std::optional<VolumePath> target;
        const uint32_t code = volumes_map_target(handle, mapObject, rest, target);
        if (target) {
            put(volumeObject, target->object);
            put(rest, target->rest);
        }
        return code;
    });
}

uint32_t qrt_ZKDSParsePath(uint32_t handle, const char *path, char *server, uint32_t *connection, char *volume,
                           char *rest, uint16_t *resolved) {
    VolumePlace place;
    const uint32_t code =
        guarded(ZKE_NO_MEMORY, [&] { return volumes_parse_path(handle, path, place, volume != nullptr); });
    if (place.server) put(server, *place.server);
    if (place.volume) put(volume, *place.volume);
    put(rest, place.rest);
    if (connection != nullptr && place.connection) *connection = *place.connection;
    if (resolved != nullptr) *resolved = place.resolved ? 1 : 0;
    return code;
}

// ---- contexts, trees, servers ----

uint32_t qrt_Getctx(const char *tree, uint32_t *handle) {
    if (handle == nullptr) return ZKE_BAD_PARAMETER;
    return guarded(ZKE_NO_MEMORY, [&] { return contexts_make(tree, *handle); });
}

char *qrt_GetTreeName(const char *tree) {
    return guarded_text([&] { return contexts_tree(tree); });
}
char *qrt_GetTreeFromServer(const char *server) {
    return guarded_text([&] { return contexts_tree_of_server(server); });
}
char *qrt_GetDefaultServerFromTree(const char *tree) {
    return guarded_text([&] { return contexts_default_server_of(tree); });
}
char *qrt_GetDefaultServer(void) {
    return guarded_text(contexts_default_server);
}

uint32_t qrt_UserID(void) {
    return contexts_user_number();
}
uint32_t qrt_StationNumber(void) {
    return contexts_connection_number();
}

uint32_t qrt_TreeLogin(const char *tree, char *user, char *password, uint32_t *handle) {
    return handle != nullptr ? tree_login(tree, user, password, *handle) : ZKE_BAD_PARAMETER;
}
uint32_t qrt_TreeLogout(const char *tree) {
    return tree_logout(tree);
}
uint32_t qrt_get_user_password(int gui, const char *label, const char *defaultUser, char **user, char **password) {
    constexpr uint32_t cancelled = 1;
    return user != nullptr && password != nullptr ? tree_login_ask(gui != 0, label, defaultUser, user, password)
                                                  : cancelled;
}

uint32_t qrt_CheckAuthServer(char *server, char **tree) {
    if (server == nullptr || tree == nullptr) return ZKE_BAD_PARAMETER;
    return guarded(ZKE_NO_MEMORY, [&] {
        std::optional<std::string> found;
        const uint32_t code = servers_check(server, found);
        if (code == ZK_OK) *tree = text_copy_or_null(found).release();
        return code;
    });
}

uint32_t qrt_SetServer(uint32_t handle, const char *server) {
    return guarded(
        ZKE_NO_MEMORY, [&] { return servers_set_primary(handle, server); });
}

uint32_t qrt_Attach(char *server) {
    if (server != nullptr) return guarded(ZKE_NO_MEMORY, [&] { return servers_attach(server); });
    say("Server not definded:%s\n", "(null)");
    return 1;
}
