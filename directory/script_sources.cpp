#include "directory/script_sources.h"

#include <algorithm>
#include <cstring>

#include "base/local_file.h"
#include "base/output.h"
#include "platform/zk.h"
#include "qrtscript.h"

constexpr size_t read_size = 512;
constexpr size_t max_object_name = 256;

OwnedText script_sources_file(const char *path) {
    TRACE(qrt_readLoginScriptFromFile, 3, "Entering ...");
    size_t length = 0;
    OwnedText text = path != nullptr ? local_file_read(path, length) : nullptr;
    TRACE(qrt_readLoginScriptFromFile, 3, "Exiting ...");
    return text;
}

static std::string short_name(uint32_t handle, const char *object) {
    char shortened[ZK_MAX_NAME + 1] = "";
    if (ZKDSAbbreviateName(handle, object, shortened) == 0) return shortened;
    return std::string(object).substr(0, max_object_name);
}

// Counts the connection that serves the read for file access when it is not counted yet. True when that is to be undone
// on `connection` afterwards.
static bool count_connection(uint32_t handle, uint32_t &connection) {
    if (ZKDSGetContext(handle, DCK_LAST_CONNECTION, &connection) != 0) return false;
    uint32_t state = 0;
    uint32_t code = ZKCCGetConnInfo(connection, ZK_INFO_COUNTED_STATE, sizeof state, &state);
    TRACE(qrt_GetLoginScript, 4, "ZKCCGetConnInfo: 0x%x %d", code, state);
    if (code != 0 || state != 0) return false;
    code = ZKCCLicenseConn(connection);
    TRACE(qrt_GetLoginScript, 4, "ZKCCLicenseConn: 0x%x", code);
    return code == 0;
}

namespace {

// An open stream. At its end it is closed, and the counting of its connection undone.
struct Stream {
    uint32_t file;
    uint32_t connection = 0;
    bool counted;

    Stream(uint32_t handle, uint32_t opened) : file(opened), counted(count_connection(handle, connection)) {}
    ~Stream() {
        ZKCloseFile(file);
        if (counted) ZKCCUnlicenseConn(connection);
    }
};

} // namespace

// The text up to the first failing or empty read: a read error keeps what came before it.
static std::string read_stream(uint32_t handle, uint32_t file) {
    const Stream stream(handle, file);
    std::string text;
    char data[read_size];
    while (true) {
        uint32_t got = 0;
        const uint32_t code = ZKReadFile(file, read_size, &got, data);
        TRACE(qrt_GetLoginScript, 4, "ZKReadFile: 0x%x", code);
        if (code != 0 || got == 0) return text;
        text.append(data, got < read_size ? got : read_size);
    }
}

uint32_t script_sources_object(uint32_t handle, const char *object, std::string &text) {
    TRACE(qrt_GetLoginScript, 4, "KDB object is %s", object);
    const std::string name = short_name(handle, object);
    TRACE(qrt_GetLoginScript, 4, "KDB short name is %s", name.c_str());
    uint32_t file = 0;
    const uint32_t code = ZKDSOpenStream(handle, name.c_str(), "Login Script", 0, &file);
    if (code == ZKE_NO_SUCH_VALUE) {
        TRACE(qrt_GetLoginScript, 1, "No login script defined for %s: %X", name.c_str(), code);
        return code;
    }
    if (code != 0) {
        TRACE(qrt_GetLoginScript, 4, "ZKDSOpenStream err: %08X", code);
        return code;
    }
    text = read_stream(handle, file);
    // The last line is to end with a line break, whatever the stream ends with; the text ends at its first zero byte.
    text.erase(std::min(text.find('\0'), text.size())).append("\r\n");
    TRACE(qrt_GetLoginScript, 4, "ZKReadFile read size: %i", static_cast<int>(text.size()));
    TRACE(qrt_GetLoginScript, 4, "--------------------Read LoginScript---------------");
    TRACE(qrt_GetLoginScript, 4, "%s", text.c_str());
    TRACE(qrt_GetLoginScript, 4, "-------------------------------------------------");
    return 0;
}

uint32_t script_sources_container(uint32_t handle, const char *object, std::string &text) {
    char name[ZK_MAX_NAME + 1] = "";
    const uint32_t code = ZKDSReadObjectInfo(handle, object, name, nullptr);
    if (code != 0) {
        const auto shown = static_cast<int>(code);
        TRACE(qrt_get_container, 0, "Error: ZKDSReadObjectInfo(ctx,%s,...) returned %d", object, shown);
        return QRT_NOT_FOUND;
    }
    TRACE(qrt_get_container, 6, "ZKDSReadObjectInfo(%s) returned (%s)", object, name);
    // Escaped periods are not special here: required.
    for (const char *dot = strchr(name, '.'); dot != nullptr; dot = strchr(dot + 1, '.'))
        if (script_sources_object(handle, dot + 1, text) == 0) return 0;
    return QRT_NOT_FOUND;
}

const char *script_sources_default() {
    TRACE(__get_default_script, 3, "entering...");
    TRACE(__get_default_script, 3, "return (PAM_SUCCESS)");
    return "map\r\n"; // lists the drive mappings
}
