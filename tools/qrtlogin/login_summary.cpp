#include "tools/qrtlogin/login_summary.h"

#include <string>
#include <vector>

#include "platform/zk.h"

static constexpr int told_at_most = 1000; // of each

static void tell_drives(LoginWindow *window) {
    constexpr uint32_t text_size = 4096;
    uint32_t size = 0;
    if (ZKGetMappedDrives(nullptr, &size) != ZK_OK) return;
    std::vector<char> list(size);
    if (ZKGetMappedDrives(list.data(), &size) != ZK_OK) return;
    uint32_t cursor = 0, attribute = 0;
    for (int drive = 0; drive < told_at_most; ++drive) {
        std::string local(text_size, '\0'), target(text_size, '\0');
        if (ZKEnumMappedDrives(list.data(), &cursor, &attribute, text_size, local.data(), text_size, target.data()) !=
            ZK_OK)
            return;
        local.resize(local.find('\0'));
        window->tell('d', {local.substr(local.rfind('/') + 1), target});
    }
}

void login_summary_tell(LoginWindow *window, const RunEnvironment &environment, bool hasMistakes) {
    tell_drives(window);
    int told = 0;
    for (const auto &[name, value] : environment.changes())
        if (told++ < told_at_most) window->tell('v', {name, value});
    window->tell('e', {hasMistakes ? "m" : "c", ""});
}
