#include "platform/common/link_directory.h"

#include <algorithm>
#include <cstdlib>

static constexpr int value_size = 256; // NUL included

static std::optional<std::string> from_environment(const std::string &name) {
    const char *value = getenv(name.c_str());
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

LinkDirectoryPlace link_directory_place() {
    char value[value_size] = "";
    const ConfResult code = conf_value("map.conf", "", "Map_Link_Default_Location", value, sizeof value);
    if (code != conf_found) return {code, "", from_environment("HOME")};
    const std::string configured = value;
    if (configured[0] != '%') return {code, configured, configured};
    const size_t slash = std::min(configured.find('/'), configured.size());
    std::optional<std::string> path = from_environment(configured.substr(1, slash - 1));
    if (path) path->append(configured, slash);
    return {code, configured, path};
}
