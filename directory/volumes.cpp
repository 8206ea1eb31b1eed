#include "directory/volumes.h"

#include <cstring>
#include <new>
#include <string>

#include "base/output.h"
#include "base/text.h"
#include "directory/attribute_values.h"
#include "directory/attributes.h"
#include "directory/names.h"

// The two readers below judge a client code by its low 16 bits as a signed number, and hand that number out
// sign-extended: required, their callers compare with such codes.
static uint32_t extended(uint32_t code) {
    return static_cast<uint32_t>(int32_t{static_cast<int16_t>(code)});
}
static bool low_part_negative(uint32_t code) {
    return static_cast<int16_t>(code) < 0;
}

uint32_t qrt_DSGetObjConnID(uint32_t handle, const char *volumeObject, uint32_t *connection, char *server, void *) try {
    char *value = nullptr;
    uint32_t code = qrt_GetAttribute(handle, volumeObject, "Host Server", &value);
    OwnedText host(value);
    if (code != ZK_OK) return code;
    if (connection) *connection = 0;
    if (!server) return ZK_OK;
    return names_copy(server, volumes_name_size, names_split(host.get()).leaf) ? ZK_OK : QRT_NOT_FOUND;
} catch (const std::bad_alloc &) {
    return ZKE_NO_MEMORY;
}

// Examines one reply, which holds the volume's name and nothing else. Returns the last call's code.
static uint32_t take_volume_name(const AttributeRead &read, char *volume) {
    uint32_t count = 0;
    uint32_t code = attributes_count(read, count);
    if (low_part_negative(code)) return code;
    if (count != 1) return QRT_NOT_FOUND;
    AttributeHead head;
    code = attributes_head(read, head);
    if (low_part_negative(code) || !text_equal_nocase(head.name, hostResName)) return code;
    if (head.values != 1) return QRT_NOT_FOUND;
    AttributeValue value;
    code = attribute_values_fetch(read.function, read.handle, read.reply.get(), head.syntax, value, low_part_negative);
    if (low_part_negative(code) || !value.block) return code;
    return names_copy(volume, volumes_name_size, value.block.get()) ? code : QRT_NOT_FOUND;
}

uint32_t qrt_DSGetPhysicalVolumeName(uint32_t handle, const char *volumeObject, char *volume) try {
    if (!volumeObject || !volume) return QRT_NOT_FOUND;
    *volume = '\0';
    AttributeRead read{TRACED(qrt_DSGetPhysicalVolumeName)};
    uint32_t code = attributes_prepare(read, handle, hostResName, low_part_negative);
    if (!read.request || !read.reply) return code == ZK_OK ? QRT_NOT_FOUND : extended(code);
    if (low_part_negative(code)) return extended(code);
    do {
        code = attributes_read(read, volumeObject);
        if (!low_part_negative(code)) code = take_volume_name(read, volume);
    } while (!low_part_negative(code) && read.iteration != ZK_NO_MORE_ITERATIONS);
    return extended(code);
} catch (const std::bad_alloc &) {
    return ZKE_NO_MEMORY;
}

// Steps through the reply's attributes up to the map's target, whose name counts with its letter case.
static uint32_t find_map_target(const AttributeRead &read, uint32_t count, AttributeHead &head) {
    for (uint32_t i = 0; i < count; i++) {
        head = {};
        uint32_t code = attributes_head(read, head);
        if (low_part_negative(code)) return code;
        if (head.values != 1) return ZKE_NO_SUCH_ATTRIBUTE;
        if (strcmp(head.name, pathStr) == 0) return ZK_OK;
    }
    return ZKE_NO_SUCH_ATTRIBUTE;
}

static uint32_t take_map_target(const AttributeRead &read, char *volumeObject, char *rest) {
    uint32_t count = 0;
    uint32_t code = attributes_count(read, count);
    if (low_part_negative(code) || count == 0) return code;
    AttributeHead head;
    code = find_map_target(read, count, head);
    if (low_part_negative(code)) return code;
    if (head.syntax != ZK_SYNTAX_PATH) return ZKE_NO_SUCH_ATTRIBUTE;
    AttributeValue value;
    code = attribute_values_fetch(read.function, read.handle, read.reply.get(), head.syntax, value, low_part_negative);
    if (low_part_negative(code) || !value.block) return code;
    std::string path(attribute_values_path(value));
    if (*rest) path += std::string("\\") + rest;
    if (path.size() >= volumes_rest_size) return QRT_NOT_FOUND;
    if (!names_copy(volumeObject, volumes_name_size, attribute_values_volume(value))) return QRT_NOT_FOUND;
    names_copy(rest, volumes_rest_size, path);
    return code;
}

uint32_t qrt_CheckForDirectoryMap(uint32_t handle, const char *mapObject, char *volumeObject, char *rest) try {
    if (!mapObject || !volumeObject || !rest) return QRT_NOT_FOUND;
    AttributeRead read{TRACED(qrt_CheckForDirectoryMap)};
    uint32_t code = attributes_prepare(read, handle, pathStr, low_part_negative);
    if (!read.request || !read.reply) return code == ZK_OK ? QRT_NOT_FOUND : extended(code);
    if (!low_part_negative(code)) code = attributes_read(read, mapObject);
    if (!low_part_negative(code)) code = take_map_target(read, volumeObject, rest);
    return extended(code);
} catch (const std::bad_alloc &) {
    return ZKE_NO_MEMORY;
}

namespace {
// A path cut at its volume: "VOL:rest" or "VOL\rest".
struct VolumePath {
    std::string object;
    std::string rest;
};
} // namespace

// False for a path that names a server, which only the client's own parser understands. A "/" before the colon counts
// only when there is no backslash at all: required.
static bool split_at_volume(std::string_view path, VolumePath &split) {
    constexpr auto none = std::string_view::npos;
    if (path.substr(0, 2) == "\\\\") return false;
    size_t colon = path.find(':');
    size_t backslash = path.find('\\');
    size_t before = backslash == none ? path.find('/') : backslash;
    if (colon != none && before < colon) return false;
    size_t cut = colon == none ? backslash : colon;
    split.object = path.substr(0, cut);
    split.rest = cut == none ? "" : path.substr(cut + 1);
    return true;
}

static bool is_directory_map(const ZKDSObjectInfo &info) {
    std::string_view name(info.baseClass, strnlen(info.baseClass, sizeof info.baseClass));
    return text_equal_nocase(name, "Directory Map");
}

// Puts the map's volume object and its path into `split`. A map that cannot be read leaves `split` as it is.
static void follow_map(uint32_t handle, VolumePath &split) {
    char volumeObject[volumes_name_size] = "";
    char rest[volumes_rest_size] = "";
    names_copy(volumeObject, sizeof volumeObject, split.object);
    names_copy(rest, sizeof rest, split.rest);
    if (qrt_CheckForDirectoryMap(handle, split.object.c_str(), volumeObject, rest) != ZK_OK) return;
    split.object = volumeObject;
    split.rest = rest;
}

namespace {
// What the caller of qrt_ZKDSParsePath gave to be filled.
struct PathOuts {
    char *server;
    uint32_t *connection;
    char *volume;
    char *rest;
    uint16_t *resolved;
};
} // namespace

static uint32_t ask_client(const char *path, uint32_t pending, const PathOuts &outs) {
    char server[ZK_MAX_NAME + 1] = "";
    char volume[ZK_MAX_NAME + 1] = "";
    char rest[ZK_MAX_NAME + 1] = "";
    uint32_t connection = 0;
    uint32_t code = ZKParsePath(path, server, &connection, volume, rest);
    TRACE(qrt_ZKDSParsePath, 4, "ZKParsePath(%s) returned %x", path ? path : "", code);
    if (code != ZK_OK) return pending == ZKE_VOLUME_UNKNOWN ? pending : code;
    if (outs.rest && !names_copy(outs.rest, volumes_rest_size, rest)) return QRT_NOT_FOUND;
    if (outs.server) names_copy(outs.server, volumes_name_size, server);
    if (outs.connection) *outs.connection = connection;
    if (outs.volume) names_copy(outs.volume, volumes_name_size, volume);
    return ZK_OK;
}

// Asks the directory. True when that settles the call with `code`; otherwise `code` is the one that stays pending while
// the client's parser is asked.
static bool ask_directory(uint32_t handle, VolumePath &split, const PathOuts &outs, uint32_t &code) {
    char distinguishedName[names_buffer_size] = "";
    ZKDSObjectInfo info = {};
    code = ZKDSReadObjectInfo(handle, split.object.c_str(), distinguishedName, &info);
    if (code != ZK_OK) return false;
    if (is_directory_map(info)) follow_map(handle, split);
    if (handle == ZKE_BAD_CONTEXT) {
        code = 1;
        return true;
    }
    code = qrt_DSGetObjConnID(handle, split.object.c_str(), outs.connection, outs.server, nullptr);
    if (code != ZK_OK && code != ZKE_VOLUME_UNKNOWN) return false;
    if (!outs.volume || qrt_DSGetPhysicalVolumeName(handle, split.object.c_str(), outs.volume) != ZK_OK) return false;
    if (outs.resolved) *outs.resolved = 1;
    if (outs.rest) names_copy(outs.rest, volumes_rest_size, split.rest);
    code = ZK_OK;
    return true;
}

uint32_t qrt_ZKDSParsePath(uint32_t handle, const char *path, char *server, uint32_t *connection, char *volume,
                           char *rest, uint16_t *resolved) try {
    PathOuts outs = {server, connection, volume, rest, resolved};
    if (resolved) *resolved = 0;
    if (rest) *rest = '\0';
    std::string_view whole = path ? path : "";
    if (whole.size() >= volumes_path_size) return QRT_NOT_FOUND;
    VolumePath split;
    uint32_t pending = ZK_OK;
    if (!whole.empty() && split_at_volume(whole, split)) {
        if (split.rest.size() >= volumes_rest_size) return QRT_NOT_FOUND;
        if (ask_directory(handle, split, outs, pending)) return pending;
    }
    return ask_client(path, pending, outs);
} catch (const std::bad_alloc &) {
    return ZKE_NO_MEMORY;
}
