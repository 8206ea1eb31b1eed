#include "tools/qrtscript/object/backup.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>

#include "platform/catalogue.h"
#include "platform/common/opened.h"
#include "platform/common/write_all.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtscript/object/file_place.h"
#include "tools/qrtscript/object/former_name.h"
#include "tools/qrtscript/object/options.h"
#include "tools/qrtscript/object/program.h"
#include "tools/qrtscript/object/signals_held.h"

namespace fs = std::filesystem;

static constexpr mode_t of_others = 0077; // rights

static Failure cannot_keep(const std::string &path, const std::string &why) {
    return Failure(exit_not_created,
                   catalogue_format("cannot keep the former script in %1$s: %2$s", path.c_str(), why.c_str()));
}

bool backup_has_git(const std::string &folder) {
    std::error_code problem;
    fs::path at = fs::canonical(folder, problem);
    if (problem) return false;
    for (;; at = at.parent_path()) {
        if (fs::exists(at / ".git", problem)) return true;
        if (at == at.parent_path()) return false;
    }
}

// The names of objects are no patterns.
static void commit(const std::string &folder, const std::vector<std::string> &files, const FormerScript &script) {
    const std::string message = catalogue_format("Keep the former login script of %s", script.object.name.c_str());
    const auto run = [&](std::vector<std::string> words) {
        words.insert(words.begin(), {"git", "--literal-pathspecs", "-C", folder});
        words.emplace_back("--");
        words.insert(words.end(), files.begin(), files.end());
        if (program_run(words, ProgramOutput::shown, script.isPrivate ? of_others : 0).status != 0)
            throw cannot_keep(folder, catalogue_text("git could not commit it"));
    };
    run({"add", "-f"});
    run({"commit", "-q", "-m", message});
}

static Opened open_made(const std::string &folder) {
    for (size_t end = folder.find('/', 1);; end = folder.find('/', end + 1)) {
        if (mkdir(folder.substr(0, end).c_str(), 0700) != 0 && errno != EEXIST)
            throw cannot_keep(folder, strerror(errno));
        if (end == folder.npos) break;
    }
    Opened opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened.isOpen()) throw cannot_keep(folder, strerror(errno));
    return opened;
}

static void write_new(const Opened &folder, const std::string &name, mode_t rights, const std::string &text,
                      const std::string &shown) {
    const SignalsHeld held;
    const Opened made(openat(folder.number(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, rights));
    if (made.isOpen() && write_all(made.number(), text) && fsync(made.number()) == 0) return;
    const std::string why = strerror(errno);
    if (made.isOpen()) unlinkat(folder.number(), name.c_str(), 0);
    throw cannot_keep(shown, why);
}

static bool is_there(const Opened &folder, const std::string &name) {
    return faccessat(folder.number(), name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

void backup_keep(const std::string &folder, const std::string &tree, const FormerScript &script) {
    constexpr mode_t reading = 0044, entering = 0055;
    const Opened top = open_made(folder);
    struct stat found = {};
    if (fstat(top.number(), &found) != 0) throw cannot_keep(folder, strerror(errno));
    const mode_t rights = 0600 | (script.isPrivate ? 0 : found.st_mode & reading);
    const FormerName name = former_name(tree, script.object);
    const std::string path = name.path + "." + former_moment(), beside = name.path + ".name";
    const Opened place = folder_of_file(top, path, 0700 | (found.st_mode & entering));
    if (!place.isOpen()) throw cannot_keep(folder + "/" + path, strerror(errno));
    std::vector<std::string> files = {path};
    if (name.isHashed && !is_there(place, name_of_file(beside))) {
        write_new(place, name_of_file(beside), rights, script.object.typed + "\n", folder + "/" + beside);
        files.push_back(beside);
    }
    write_new(place, name_of_file(path), rights, script.text, folder + "/" + path);
    if (backup_has_git(folder)) commit(folder, files, script);
}

static fs::directory_iterator items(const fs::path &folder, std::error_code *problem) {
    return fs::directory_iterator(folder, *problem);
}

std::vector<std::string> backup_list(const std::string &folder, const std::string &tree, const ScriptObject &object) {
    const auto require = [](const fs::path &path, const std::error_code &problem) {
        if (problem)
            throw Failure(exit_no_script,
                          catalogue_format("cannot read %1$s: %2$s", path.c_str(), strerror(problem.value())));
    };
    std::error_code problem;
    items(folder, &problem);
    require(folder, problem);
    const fs::path start = former_name(tree, object).path + ".";
    const fs::path place = folder / start.parent_path();
    const std::string name = start.filename();
    const fs::directory_iterator all = items(place, &problem);
    if (problem == std::errc::no_such_file_or_directory) return {};
    require(place, problem);
    std::vector<std::string> found;
    for (const auto &item : all) {
        const std::string one = item.path().filename();
        if (one.compare(0, name.size(), name) == 0 && former_is_moment(one.substr(name.size())))
            found.push_back((start.parent_path() / one).string());
    }
    std::sort(found.begin(), found.end(), std::greater<>());
    return found;
}
