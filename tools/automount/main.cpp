// qrt-automount: mounts volumes when their drives are used. It is automount's program map for the mount point, and
// under the name mount.qrt the mount helper that the map's entries name. It runs as root and takes nothing from a user:
// no environment, no file that root has not written, and names only as something to compare.

#include <unistd.h>
#include <charconv>
#include <climits>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/catalogue.h"
#include "platform/terminal_text.h"
#include "tools/automount/map_entry.h"
#include "tools/automount/mount_volume.h"
#include "tools/automount/refresh.h"
#include "tools/automount/root_file.h"
#include "tools/own_folder.h"
#include "tools/program_start.h"

static constexpr int mount_failed = 32; // as mount(8) has it
static constexpr int usage_error = 64;

static const char *const help_text = catalogue_mark(
    "Usage: qrt-automount KEY\n"
    "       qrt-automount --refresh\n"
    "       mount.qrt SOURCE DIRECTORY [-o OPTIONS]\n"
    "Mount the volumes of file servers when their drives are used.\n"
    "\n"
    "As a program map of automount, print the entry for KEY in the current\n"
    "directory. With --refresh, read client.toml and the directories and write\n"
    "/var/cache/brasca/site/volumes, as the map does by itself from time to time.\n"
    "As mount.qrt, mount the volume that DIRECTORY stands for. The SOURCE \"qrt-own\"\n"
    "means that its user or root wants it: only then is the kept password used, and\n"
    "a failure recorded. Other sources, and OPTIONS, do not count.\n"
    "\n"
    "Exit status: 0 on success, 1 if there is no entry or a directory could not be\n"
    "read, 32 if the volume could not be mounted, 64 for wrong usage.\n");

// automount hands down the first user's HOME, and whatever it was started with. Only the language of messages stays:
// what a translation may be is checked (platform/translation.h).
static void clear_environment() {
    constexpr const char *kept[] = {"LANG", "LANGUAGE", "LC_ALL", "LC_MESSAGES"};
    std::vector<std::pair<const char *, std::string>> values;
    for (const char *name : kept)
        if (const char *value = getenv(name)) values.emplace_back(name, value);
    clearenv();
    setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
    for (const auto &[name, value] : values) setenv(name, value.c_str(), 1);
}

// Whom automount says that it asks for; it does not know users without an account.
static std::optional<uid_t> requester() {
    const char *text = getenv("AUTOFS_UID");
    if (text == nullptr) return std::nullopt;
    uid_t user = 0;
    const char *end = text + strlen(text);
    const auto [stop, problem] = std::from_chars(text, end, user);
    return problem == std::errc() && stop == end ? std::optional<uid_t>(user) : std::nullopt;
}

static int print_entry(const char *key, const std::optional<uid_t> &requester) {
    char folder[PATH_MAX];
    char program[PATH_MAX] = {};
    if (getcwd(folder, sizeof folder) == nullptr || readlink("/proc/self/exe", program, sizeof program - 1) <= 0)
        throw AutomountError(catalogue_text("the current directory or the program's own path is unknown"));
    const std::string entry = map_entry(folder, key, program, requester);
    if (!entry.empty()) puts(entry.c_str());
    return entry.empty() ? 1 : 0;
}

// What cannot be written is an error at the exit.
static int print_help() {
    fputs(catalogue_text(help_text), stdout);
    return 0;
}

static int usage() {
    fputs(catalogue_text(help_text), stderr);
    return usage_error;
}

static int mount_helper(int argc, char **argv) {
    if (argc < 3) return usage();
    return mount_volume(argv[2], strcmp(argv[1], own_source) == 0) == DriveFailure::none ? 0 : mount_failed;
}

static bool is_mount_helper(const char *name) {
    const char *slash = strrchr(name, '/');
    return strcmp(slash == nullptr ? name : slash + 1, "mount.qrt") == 0;
}

static int automount_main(int argc, char **argv) {
    if (!program_may_start("qrt-automount")) return 1;
    const std::optional<uid_t> asking = requester();
    clear_environment();
    const TranslationGuard guard; // for the C library's own messages
    setlocale(LC_ALL, "");
    own_catalogues_bind();
    program_check_output_at_exit("qrt-automount", 1);
    if (is_mount_helper(argv[0])) return mount_helper(argc, argv);
    if (argc != 2) return usage();
    const std::string_view word = argv[1];
    if (word == "--help") return print_help();
    if (word == "--version") return fputs(program_version("qrt-automount").c_str(), stdout) == EOF ? 1 : 0;
    if (word == "--refresh") return site_refresh() ? 0 : 1;
    return print_entry(argv[1], asking);
}

int main(int argc, char **argv) try { return automount_main(argc, argv); } catch (const std::bad_alloc &) {
    fprintf(stderr, catalogue_text("qrt-automount: %s\n"), catalogue_text("memory exhausted"));
    return 1;
} catch (const std::exception &problem) {
    fprintf(stderr, catalogue_text("qrt-automount: %s\n"), terminal_text(problem.what()).c_str());
    return 1;
}
