#include "directory/volumes.h"

#include <cstring>

#include "directory/attribute_values.h"
#include "directory/attributes.h"
#include "directory/names.h"
#include "qrtscript.h"

// The two readers below judge a client code by its low 16 bits as a signed number, and hand that number out
// sign-extended: required, their callers compare with such codes.
static uint32_t extended(uint32_t code) {
    return static_cast<uint32_t>(int32_t{static_cast<int16_t>(code)});
}
static bool low_part_negative(uint32_t code) {
    return static_cast<int16_t>(code) < 0;
}

uint32_t volumes_server(uint32_t handle, const char *volumeObject, std::string &server) {
    OwnedText host;
    const uint32_t code = attributes_text(handle, volumeObject, "Host Server", host);
    if (code == ZK_OK) server = names_split(host.get()).leaf;
    return code;
}

// Examines one reply, which contains the volume's name and nothing else. Returns the last call's code.
static uint32_t take_volume_name(const AttributeRead &read, std::string &volume) {
    uint32_t count = 0;
    uint32_t code = attributes_count(read, count);
    if (low_part_negative(code)) return code;
    if (count != 1) return QRT_NOT_FOUND;
    AttributeHead head;
    code = attributes_head(read, head);
    if (low_part_negative(code) || !equal_nocase(head.name, hostResName)) return code;
    if (head.values != 1) return QRT_NOT_FOUND;
    AttributeValue value;
    code = attribute_values_fetch(read.function, read.handle, read.reply.get(), head.syntax, value, low_part_negative);
    if (low_part_negative(code) || !value.block) return code;
    volume = value.block.get();
    if (volume.size() < volumes_name_size) return code;
    volume.clear();
    return QRT_NOT_FOUND;
}

uint32_t volumes_physical_name(uint32_t handle, const char *volumeObject, std::string &volume) {
    volume.clear();
    AttributeRead read{TRACED(qrt_DSGetPhysicalVolumeName)};
    uint32_t code = attributes_prepare(read, handle, hostResName, low_part_negative);
    if (!read.request || !read.reply) return code == ZK_OK ? QRT_NOT_FOUND : extended(code);
    if (low_part_negative(code)) return extended(code);
    do {
        code = attributes_read(read, volumeObject);
        if (!low_part_negative(code)) code = take_volume_name(read, volume);
    } while (!low_part_negative(code) && read.iteration != ZK_NO_MORE_ITERATIONS);
    return extended(code);
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

static uint32_t take_map_target(const AttributeRead &read, std::string_view rest, std::optional<VolumePath> &target) {
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
    if (!rest.empty()) path.append("\\").append(rest);
    const std::string_view volumeObject = attribute_values_volume(value);
    if (path.size() >= volumes_rest_size || volumeObject.size() >= volumes_name_size) return QRT_NOT_FOUND;
    target = VolumePath{std::string(volumeObject), path};
    return code;
}

uint32_t volumes_map_target(uint32_t handle, const char *mapObject, std::string_view rest,
                            std::optional<VolumePath> &target) {
    AttributeRead read{TRACED(qrt_CheckForDirectoryMap)};
    uint32_t code = attributes_prepare(read, handle, pathStr, low_part_negative);
    if (!read.request || !read.reply) return code == ZK_OK ? QRT_NOT_FOUND : extended(code);
    if (!low_part_negative(code)) code = attributes_read(read, mapObject);
    if (!low_part_negative(code)) code = take_map_target(read, rest, target);
    return extended(code);
}

// Cuts a path at its volume, "VOL:rest" or "VOL\rest". False for a path that names a server, which only the client's
// own parser understands. A "/" before the colon counts only when there is no backslash at all: required.
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
    return equal_nocase(name, "Directory Map");
}

// Puts the map's volume object and its path into `split`. A map that cannot be read leaves `split` as it is.
static void follow_map(uint32_t handle, VolumePath &split) {
    std::optional<VolumePath> target;
    if (volumes_map_target(handle, split.object.c_str(), split.rest, target) == ZK_OK && target) split = *target;
}

static uint32_t ask_client(const char *path, uint32_t pending, VolumePlace &place) {
    char server[ZK_MAX_NAME + 1] = "";
    char volume[ZK_MAX_NAME + 1] = "";
    char rest[ZK_MAX_NAME + 1] = "";
    uint32_t connection = 0;
    uint32_t code = ZKParsePath(path, server, &connection, volume, rest);
    TRACE(qrt_ZKDSParsePath, 4, "ZKParsePath(%s) returned %x", path ? path : "", code);
    if (code != ZK_OK) return pending == ZKE_VOLUME_UNKNOWN ? pending : code;
    if (strlen(rest) >= volumes_rest_size) return QRT_NOT_FOUND;
    place.server = server;
    place.connection = connection;
    place.volume = volume;
    place.rest = rest;
    return ZK_OK;
}

static uint32_t ask_for_server(uint32_t handle, const std::string &volumeObject, VolumePlace &place) {
    std::string server;
    const uint32_t code = volumes_server(handle, volumeObject.c_str(), server);
    if (code != ZK_OK) return code;
    const bool fits = server.size() < volumes_name_size;
    place.connection = 0;
    place.server = fits ? server : "";
    return fits ? ZK_OK : QRT_NOT_FOUND;
}

// Asks the directory. True when that settles the call with `code`; otherwise `code` is the one that stays pending while
// the client's parser is asked.
static bool ask_directory(uint32_t handle, VolumePath &split, bool volumeWanted, VolumePlace &place, uint32_t &code) {
    char distinguishedName[names_buffer_size] = "";
    ZKDSObjectInfo info = {};
    code = ZKDSReadObjectInfo(handle, split.object.c_str(), distinguishedName, &info);
    if (code != ZK_OK) return false;
    if (is_directory_map(info)) follow_map(handle, split);
    if (handle == ZKE_BAD_CONTEXT) {
        code = 1;
        return true;
    }
    code = ask_for_server(handle, split.object, place);
    if ((code != ZK_OK && code != ZKE_VOLUME_UNKNOWN) || !volumeWanted) return false;
    if (volumes_physical_name(handle, split.object.c_str(), place.volume.emplace()) != ZK_OK) return false;
    place.resolved = true;
    place.rest = split.rest;
    code = ZK_OK;
    return true;
}

uint32_t volumes_parse_path(uint32_t handle, const char *path, VolumePlace &place, bool volumeWanted) {
    std::string_view whole = path != nullptr ? path : "";
    if (whole.size() >= volumes_path_size) return QRT_NOT_FOUND;
    VolumePath split;
    uint32_t pending = ZK_OK;
    if (!whole.empty() && split_at_volume(whole, split)) {
        if (split.rest.size() >= volumes_rest_size) return QRT_NOT_FOUND;
        if (ask_directory(handle, split, volumeWanted, place, pending)) return pending;
    }
    return ask_client(path, pending, place);
}
