#include "tools/map/location.h"

#include <pwd.h>
#include <unistd.h>
#include <vector>

#include "base/mount.h"
#include "platform/catalogue.h"
#include "tools/map/refusal.h"

namespace {

std::vector<std::string> components_of(std::string_view path) {
    std::vector<std::string> components(1);
    for (char c : path) {
        if (c == '/' || c == '\\')
            components.emplace_back();
        else
            components.back() += c;
    }
    return components;
}

bool is_folder_name(const std::string &name) {
    if (name.empty() || name == "." || name == "..") return false;
    for (char c : name) {
        bool control = static_cast<unsigned char>(c) < ' ' || c == 0x7f;
        if (control || c == '/' || c == '\\') return false;
    }
    return true;
}

} // namespace

std::string mount_user_folder() {
    const passwd *entry = getpwuid(geteuid());
    return mount_point() + "/" + (entry != nullptr ? entry->pw_name : "user");
}

std::string location_local_path(const Location &location) {
    std::string path = mount_user_folder() + "/" + location.server + "/" + location.volume;
    return location.path.empty() ? path : path + "/" + location.path;
}

std::optional<Location> location_from_local_path(std::string_view path) {
    const std::string folder = mount_user_folder() + "/";
    if (path.substr(0, folder.size()) != folder) return std::nullopt;
    std::vector<std::string> components = components_of(path.substr(folder.size()));
    if (components.size() < 2) return std::nullopt;
    Location location;
    for (size_t i = 0; i < components.size(); ++i) {
        if (!is_folder_name(components[i])) return std::nullopt;
        if (i == 0) location.server = components[i];
        if (i == 1) location.volume = components[i];
        if (i >= 2) location.path += (i > 2 ? "/" : "") + components[i];
    }
    return location;
}

std::string location_join(std::string_view base, std::string_view path) {
    std::vector<std::string> kept;
    for (const std::string &component : components_of(std::string(base) + "/" + std::string(path))) {
        if (component.empty() || component == ".") continue;
        if (component == "..") {
            if (kept.empty()) throw Refusal(catalogue_text("the path leads outside the volume"));
            kept.pop_back();
            continue;
        }
        if (!is_folder_name(component)) throw Refusal(catalogue_text("the path contains a control character"));
        kept.push_back(component);
    }
    std::string joined;
    for (const std::string &component : kept) joined += (joined.empty() ? "" : "/") + component;
    return joined;
}

void location_check(const Location &location) {
    if (!is_folder_name(location.server) || !is_folder_name(location.volume))
        throw Refusal(catalogue_text("invalid server or volume name"));
}
