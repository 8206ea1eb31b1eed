#include "tools/map/location.h"

#include <algorithm>

#include "platform/catalogue.h"
#include "tools/map/refusal.h"

std::string location_join(std::string_view base, std::string_view path) {
    std::string whole = std::string(base) + "/" + std::string(path);
    std::replace(whole.begin(), whole.end(), '\\', '/');
    const std::optional<std::vector<std::string>> folders = path_folders(whole);
    if (!folders) throw Refusal(catalogue_text("the path leads outside the volume"));
    std::string joined;
    for (const std::string &folder : *folders) {
        if (!is_folder_name(folder)) throw Refusal(catalogue_text("the path contains a control character"));
        joined += (joined.empty() ? "" : "/") + folder;
    }
    return joined;
}

void location_check(const Location &location) {
    if (!is_folder_name(location.server) || !is_folder_name(location.volume))
        throw Refusal(catalogue_text("invalid server or volume name"));
}
