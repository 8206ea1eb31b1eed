// The sample's site: what a session on it, or a program, finds.
#include <crypt.h>
#include <pwd.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "platform/common/places.h"
#include "tests/support/sample_session.h"

namespace fs = std::filesystem;

static const fs::path sample = SOURCE_DIR "/examples/acme";

std::string sample_read_file(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream content;
    content << file.rdbuf();
    return content.str();
}

static bool write_file(const char *path, const std::string &text) {
    std::ofstream file(path);
    return static_cast<bool>(file << text << std::flush);
}

// A user namespace lets everybody have mounts; root needs none.
static bool enter_namespaces() {
    const std::string user = std::to_string(geteuid()), group = std::to_string(getegid());
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return unshare(CLONE_NEWNS) == 0;
    return write_file("/proc/self/setgroups", "deny") && write_file("/proc/self/uid_map", "0 " + user + " 1") &&
           write_file("/proc/self/gid_map", "0 " + group + " 1");
}

static bool enter_private_mounts() {
    return enter_namespaces() && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("tmpfs", fs::path(place_mount_point).parent_path().c_str(), "tmpfs", 0, nullptr) == 0;
}

static void place_volumes() {
    const struct passwd *user = getpwuid(geteuid());
    const fs::path place = fs::path(place_mount_point) / (user ? user->pw_name : "user");
    fs::create_directories(place);
    fs::copy(sample / "volumes", place, fs::copy_options::recursive);
}

bool sample_prepare(const fs::path &folder) {
    fs::create_directories(folder / "home");
    setenv("HOME", (folder / "home").c_str(), 1);
    setenv("LC_ALL", "C", 1);
    setenv("ZKCLIENT_CONF", (sample / "client.toml").c_str(), 1);
    setenv("PATH", (std::string(BINARY_DIR) + ":/usr/bin:/bin").c_str(), 1);
    const bool fixed_place = enter_private_mounts();
    static std::string mount_point; // the place is a pointer
    mount_point = fixed_place ? std::string(place_mount_point) : (folder / "mount").string();
    place_mount_point = mount_point.c_str();
    place_volumes();
    return fixed_place;
}

// The same password under a hash that costs next to nothing.
static std::string quick_hash(const std::string &hash) {
    for (const char *password : {"sunflower", "moonlight", "starfish", "seaweed", "orchid", "tulip"})
        if (crypt(password, hash.c_str()) == hash) return crypt(password, "$1$salt$");
    return hash;
}

static std::string with_quick_hashes(std::string text) {
    const std::string scheme = "{CRYPT}";
    for (size_t at = text.find(scheme); at != text.npos; at = text.find(scheme, at)) {
        at += scheme.size();
        const std::string hash = text.substr(at, text.find_first_of("\"\r\n", at) - at);
        text.replace(at, hash.size(), quick_hash(hash));
    }
    return text;
}

void sample_use_quick_passwords(const fs::path &folder) {
    fs::create_directories(folder);
    fs::copy(sample / "scripts", folder / "scripts", fs::copy_options::recursive);
    for (const char *name : {"client.toml", "acme.ldif", "lab.ldif"})
        write_file((folder / name).c_str(), with_quick_hashes(sample_read_file(sample / name)));
    setenv("ZKCLIENT_CONF", (folder / "client.toml").c_str(), 1);
}
