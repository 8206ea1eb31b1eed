#include "platform/prompt/window_environment.h"

#include <unistd.h>
#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string_view>

// Where a name ends in "*", every name that begins so. What scripts may load code by (GTK_MODULES, GTK_PATH,
// GIO_EXTRA_MODULES, GIO_MODULE_DIR, GDK_PIXBUF_MODULE_FILE, LD_*, GCONV_PATH, LOCPATH ...) is not among them, nor what
// shows the inside of a window (GTK_DEBUG).
static constexpr std::string_view passed_on[] = {
    // the display, and the startup that the window belongs to
    "DISPLAY",
    "WAYLAND_DISPLAY",
    "XAUTHORITY",
    "XDG_RUNTIME_DIR",
    "XDG_SESSION_TYPE",
    "XDG_CURRENT_DESKTOP",
    "XDG_ACTIVATION_TOKEN",
    "DESKTOP_STARTUP_ID",
    // the person's language, themes and settings
    "LANG",
    "LC_*",
    "LANGUAGE",
    "HOME",
    "XDG_CONFIG_HOME",
    "XDG_CONFIG_DIRS",
    "XDG_DATA_HOME",
    "XDG_DATA_DIRS",
    "XDG_CACHE_HOME",
    "XCURSOR_*",
    "GTK_THEME",
    "GDK_BACKEND",
    "GDK_SCALE",
    "GDK_DPI_SCALE",
    "GSK_RENDERER",
    "GSETTINGS_BACKEND",
    // input methods by name, and aids for those who need them
    "GTK_IM_MODULE",
    "XMODIFIERS",
    "GTK_A11Y",
    "DBUS_SESSION_BUS_ADDRESS",
    "AT_SPI_BUS_ADDRESS",
#ifdef QRT_SANITIZED
    "ASAN_OPTIONS",
    "UBSAN_OPTIONS",
    "LSAN_OPTIONS",
#endif
};

static constexpr std::string_view startup = "DESKTOP_STARTUP_ID";

static bool is_passed_on(std::string_view name) {
    return std::any_of(
        std::begin(passed_on), std::end(passed_on),
        [name](std::string_view pattern) {
            if (pattern.back() != '*') return name == pattern;
            pattern.remove_suffix(1);
            return name.substr(0, pattern.size()) == pattern;
        });
}

// A bus that would be started for the purpose is not used, and a LANGUAGE with a path not followed.
static bool is_harmless(std::string_view name, std::string_view value) {
    const std::string_view address = "_ADDRESS", socket = "unix:";
    if (name.size() > address.size() && name.substr(name.size() - address.size()) == address)
        return value.substr(0, socket.size()) == socket && value.find(';') == value.npos;
    return name != "LANGUAGE" || value.find('/') == value.npos;
}

static bool is_set(const char *name) {
    const char *value = secure_getenv(name);
    return value != nullptr && *value != '\0';
}

bool window_display_named() {
    return is_set("DISPLAY") || is_set("WAYLAND_DISPLAY");
}

std::vector<std::string> window_environment() {
    std::vector<std::string> entries = {"PATH=/usr/local/bin:/usr/bin:/bin"};
    // On Wayland, too, the toolkit (4.8) looks for the token of its startup, by which the compositor gives the focus to
    // the window, under the name that it has on X11; and it looks there before anything of the program runs.
    const bool hasToken = is_set("WAYLAND_DISPLAY") && is_set("XDG_ACTIVATION_TOKEN");
    if (hasToken) entries.push_back(std::string(startup) + "=" + secure_getenv("XDG_ACTIVATION_TOKEN"));
    for (char **entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string_view text = *entry;
        const size_t end = text.find('=');
        if (end == text.npos) continue;
        if (hasToken && text.substr(0, end) == startup) continue;
        if (is_passed_on(text.substr(0, end)) && is_harmless(text.substr(0, end), text.substr(end + 1)))
            entries.emplace_back(text);
    }
    return entries;
}

void window_environment_enter() {
    const std::vector<std::string> entries = window_environment();
    clearenv();
    for (const std::string &entry : entries) {
        const size_t end = entry.find('=');
        setenv(entry.substr(0, end).c_str(), entry.c_str() + end + 1, 1);
    }
}
