// Start, contexts, identity, names and objects.
#include <cstring>

#include "tests/client_spy/spy_state.h"

using namespace spy;

uint32_t ZKCallsInit(void *reserved1, void *reserved2) {
    return record("ZKCallsInit", {reserved1 ? "set" : "null", reserved2 ? "set" : "null"}).value_or(ZK_OK);
}

uint32_t ZKCLXInit(void *reserved1, void *reserved2) {
    return record("ZKCLXInit", {reserved1 ? "set" : "null", reserved2 ? "set" : "null"}).value_or(ZK_OK);
}

uint32_t ZKGetZKNetVersion(uint8_t *major, uint8_t *minor, uint8_t *revision, uint8_t *patch) {
    if (auto code = record("ZKGetZKNetVersion", {})) return *code;
    const uint8_t *version = state().version;
    *major = version[0];
    *minor = version[1];
    *revision = version[2];
    *patch = version[3];
    return ZK_OK;
}

uint32_t ZKDSCreateContextHandle(uint32_t *context) {
    if (auto code = record("ZKDSCreateContextHandle", {})) return *code;
    if (state().reusesContexts && !state().freedContexts.empty()) {
        *context = state().freedContexts.back();
        state().freedContexts.pop_back();
        state().contexts[*context] = {};
    } else {
        while (state().contexts.count(state().nextContext) != 0) state().nextContext++;
        *context = state().nextContext++;
    }
    state().contexts[*context].made = true;
    return ZK_OK;
}

uint32_t ZKDSFreeContext(uint32_t context) {
    if (auto code = record("ZKDSFreeContext", {shown(context)})) return *code;
    context_of(context).freed = true;
    state().freedContexts.push_back(context);
    return ZK_OK;
}

static std::string key_shown(int key) {
    switch (key) {
        case DCK_FLAGS:
            return "DCK_FLAGS";
        case DCK_NAME_CONTEXT:
            return "DCK_NAME_CONTEXT";
        case DCK_LAST_CONNECTION:
            return "DCK_LAST_CONNECTION";
        case DCK_TREE_NAME:
            return "DCK_TREE_NAME";
        default:
            mistake("unknown context key " + std::to_string(key));
            return std::to_string(key);
    }
}

uint32_t ZKDSSetContext(uint32_t context, int key, const void *value) {
    bool isNumber = key == DCK_FLAGS || key == DCK_LAST_CONNECTION;
    uint32_t number = 0;
    if (isNumber && value) memcpy(&number, value, sizeof number);
    const char *text = isNumber ? nullptr : static_cast<const char *>(value);
    std::string written = key == DCK_FLAGS ? flags_shown(number) : isNumber ? shown(number) : shown(text);
    if (auto code = record("ZKDSSetContext", {shown(context), key_shown(key), written})) return *code;
    if (!value) return ZKE_BAD_PARAMETER;
    Context &row = context_of(context);
    if (key == DCK_FLAGS) row.flags = number;
    if (key == DCK_LAST_CONNECTION) row.lastConnection = number;
    if (key == DCK_NAME_CONTEXT) row.nameContext = text;
    if (key == DCK_TREE_NAME) row.tree = text;
    return ZK_OK;
}

uint32_t ZKDSGetContext(uint32_t context, int key, void *value) {
    if (auto code = record("ZKDSGetContext", {shown(context), key_shown(key)})) return *code;
    const Context &row = context_of(context);
    if (key == DCK_FLAGS) memcpy(value, &row.flags, sizeof row.flags);
    if (key == DCK_LAST_CONNECTION) memcpy(value, &row.lastConnection, sizeof row.lastConnection);
    if (key == DCK_NAME_CONTEXT) copy_out(static_cast<char *>(value), row.nameContext);
    if (key == DCK_TREE_NAME) copy_out(static_cast<char *>(value), row.tree);
    return ZK_OK;
}

static std::string user_of(uint32_t context) {
    auto user = state().users.find(fold(context_of(context).tree));
    return user == state().users.end() ? state().everyTreesUser : user->second;
}

uint32_t ZKDSWhoAmI(uint32_t context, char *name) {
    if (auto code = record("ZKDSWhoAmI", {shown(context)})) return *code;
    copy_out(name, user_of(context));
    return ZK_OK;
}

uint32_t ZKDSCanDSAuthenticate(uint32_t context) {
    bool numbered = false;
    if (auto answer = record("ZKDSCanDSAuthenticate", {shown(context)}, &numbered)) return numbered ? 0 : *answer;
    return user_of(context).empty() ? 0 : 1;
}

uint32_t ZKDSLoginEx(uint32_t context, const char *object, uint32_t option, const char *password) {
    if (auto code = record("ZKDSLoginEx", {shown(context), shown(object), shown(option), shown(password)}))
        return *code;
    if (!object || !account_known(object, password)) return ZKE_WRONG_PASSWORD;
    state().users[fold(context_of(context).tree)] = object;
    return ZK_OK;
}

uint32_t ZKDSLogout(uint32_t context) {
    if (auto code = record("ZKDSLogout", {shown(context)})) return *code;
    state().users[fold(context_of(context).tree)].clear();
    return ZK_OK;
}

uint32_t ZKDSAuthenticateConnEx(uint32_t context, uint32_t connection) {
    if (auto code = record("ZKDSAuthenticateConnEx", {shown(context), shown(connection)})) return *code;
    auto row = state().connections.find(connection);
    if (row == state().connections.end()) return ZKE_CONN_INVALID;
    if (user_of(context).empty()) return ZKE_NOT_LOGGED_IN;
    state().servers[row->second].authenticated = true;
    return ZK_OK;
}

static uint32_t renamed(const std::map<std::string, std::string> &table, const char *name, char *out) {
    if (!name) return ZKE_BAD_PARAMETER;
    auto row = table.find(name);
    copy_out(out, row == table.end() ? name : row->second);
    return ZK_OK;
}

uint32_t ZKDSCanonicalizeName(uint32_t context, const char *name, char *canonical) {
    if (auto code = record("ZKDSCanonicalizeName", {shown(context), shown(name)})) return *code;
    return renamed(state().canonicals, name, canonical);
}

uint32_t ZKDSAbbreviateName(uint32_t context, const char *name, char *abbreviated) {
    if (auto code = record("ZKDSAbbreviateName", {shown(context), shown(name)})) return *code;
    return renamed(state().abbreviations, name, abbreviated);
}

uint32_t ZKDSReadObjectInfo(uint32_t context, const char *object, char *distinguishedName, ZKDSObjectInfo *info) {
    if (auto code = record("ZKDSReadObjectInfo", {shown(context), shown(object)})) return *code;
    auto row = state().objects.find(object_key(object ? object : ""));
    if (row == state().objects.end()) return ZKE_NO_SUCH_ENTRY;
    copy_out(distinguishedName, row->second.distinguishedName);
    if (info) {
        *info = {};
        copy_out(info->baseClass, row->second.baseClass.substr(0, sizeof info->baseClass - 1));
    }
    return ZK_OK;
}

uint32_t ZKDSOpenStream(uint32_t context, const char *object, const char *attribute, uint32_t flags, uint32_t *file) {
    if (auto code = record("ZKDSOpenStream", {shown(context), shown(object), shown(attribute), shown(flags)}))
        return *code;
    if (!object || state().objects.count(object_key(object)) == 0) return ZKE_NO_SUCH_ENTRY;
    auto row = state().streams.find({object_key(object), attribute_key(attribute)});
    if (row == state().streams.end()) return ZKE_NO_SUCH_VALUE;
    *file = state().nextFile++;
    state().files[*file] = {row->second, 0};
    return ZK_OK;
}
