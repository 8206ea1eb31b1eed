#include "tests/fuzz/world/links.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <cerrno>
#include <optional>
#include <string_view>

#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/world/files.h"

std::map<std::string, std::string> links;
bool (*links_is_folder)(const char *path) = nullptr;

static std::string start_of_path;

static std::string name_in_path(const char *path) {
    FUZZ_CHECK(start_of_path.compare(0, start_of_path.size(), path, start_of_path.size()) == 0);
    return path + start_of_path.size();
}

static std::optional<std::string_view> link_at(const char *path) {
    const auto found = links.find(name_in_path(path));
    return found == links.end() ? std::nullopt : std::optional<std::string_view>(found->second);
}

static bool remove_at(const char *path) {
    return links.erase(name_in_path(path)) == 1;
}

void links_start(const char *directory) {
    start_of_path = std::string(directory) + "/";
    links.clear();
    files_have_folders = true;
    files_link = link_at;
    files_remove = remove_at;
}

// ---- the calls of the C library that the code under test makes ----

extern "C" {
static int failed(int error) {
    errno = error;
    return -1;
}

int fuzz_stat(const char *path, struct stat *status) {
    *status = {};
    status->st_mode = S_IFDIR | S_IRWXU;
    return links_is_folder(path) ? 0 : failed(ENOENT);
}

int fuzz_fstatat(int, const char *name, struct stat *status, int) {
    *status = {};
    status->st_mode = S_IFLNK | S_IRWXU;
    return links.count(name) == 1 ? 0 : failed(ENOENT);
}

int fuzz_symlinkat(const char *target, int, const char *name) {
    return links.emplace(name, target).second ? 0 : failed(EEXIST);
}

int fuzz_renameat2(int, const char *from, int, const char *to, unsigned flags) {
    if (links.count(from) == 0) return failed(ENOENT);
    const bool there = links.count(to) == 1;
    if (flags == RENAME_EXCHANGE) {
        if (!there) return failed(ENOENT);
        links[from].swap(links[to]);
        return 0;
    }
    if (flags == RENAME_NOREPLACE && there) return failed(EEXIST);
    links[to] = links[from];
    links.erase(from);
    return 0;
}

} // extern "C"
