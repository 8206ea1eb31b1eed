#include "directory/script_sources.h"

#include <cstring>
#include <new>
#include <string>

#include "base/local_file.h"
#include "base/output.h"
#include "base/text.h"
#include "platform/zk.h"

// Lists the drive mappings.
static const char default_script[] = "map\r\n";

constexpr size_t read_size = 512;
constexpr size_t max_object_name = 256;

char *qrt_readLoginScriptFromFile(const char *path) {
    TRACE(qrt_readLoginScriptFromFile, 3, "Entering ...");
    size_t length = 0;
    OwnedText text = path ? local_file_read(path, length) : nullptr;
    TRACE(qrt_readLoginScriptFromFile, 3, "Exiting ...");
    return text.release();
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

// The text up to the first failing or empty read: a read error keeps what came before it.
static std::string read_stream(uint32_t file) {
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

uint32_t qrt_GetLoginScript(uint32_t handle, const char *objectName, char **text) try {
    // What the session's object is when memory has run out for its name.
    if (!objectName) return ZKE_NO_SUCH_ENTRY;
    if (!text) return ZKE_BAD_PARAMETER;
    TRACE(qrt_GetLoginScript, 4, "KDB object is %s", objectName);
    const std::string name = short_name(handle, objectName);
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
    uint32_t connection = 0;
    const bool counted = count_connection(handle, connection);
    bool complete = true;
    try {
        const std::string script = read_stream(file);
        // The last line is to end with a line break, whatever the stream ends with; the text ends at its first zero
        // byte.
        *text = text_copy(script.substr(0, script.find('\0')) + "\r\n").release();
    } catch (const std::bad_alloc &) {
        complete = false;
    }
    ZKCloseFile(file);
    if (counted) ZKCCUnlicenseConn(connection);
    if (!complete) return ZKE_NO_MEMORY;
    TRACE(qrt_GetLoginScript, 4, "ZKReadFile read size: %i", static_cast<int>(strlen(*text)));
    TRACE(qrt_GetLoginScript, 4, "--------------------Read LoginScript---------------");
    TRACE(qrt_GetLoginScript, 4, "%s", *text);
    TRACE(qrt_GetLoginScript, 4, "-------------------------------------------------");
    return 0;
} catch (const std::bad_alloc &) {
    return ZKE_NO_MEMORY;
}

uint32_t qrt_get_container(uint32_t handle, const char *objectName, char **text) {
    if (!objectName || !text) return QRT_NOT_FOUND;
    char name[ZK_MAX_NAME + 1] = "";
    const uint32_t code = ZKDSReadObjectInfo(handle, objectName, name, nullptr);
    if (code != 0) {
        const auto shown = static_cast<int>(code);
        TRACE(qrt_get_container, 0, "Error: ZKDSReadObjectInfo(ctx,%s,...) returned %d", objectName, shown);
        return QRT_NOT_FOUND;
    }
    TRACE(qrt_get_container, 6, "ZKDSReadObjectInfo(%s) returned (%s)", objectName, name);
    // Escaped periods are not special here: required.
    for (const char *dot = strchr(name, '.'); dot; dot = strchr(dot + 1, '.')) {
        if (qrt_GetLoginScript(handle, dot + 1, text) == 0) return 0;
    }
    return QRT_NOT_FOUND;
}

int __get_default_script(char **text) try {
    TRACE(__get_default_script, 3, "entering...");
    if (!text) return 0;
    *text = text_copy(default_script).release();
    TRACE(__get_default_script, 3, "return (PAM_SUCCESS)");
    return 0;
} catch (const std::bad_alloc &) {
    *text = nullptr;
    return 0;
}
