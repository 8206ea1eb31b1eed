#include "tools/qrtscript/object/backup.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <utility>

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
static constexpr int lock_tries = 1200;   // a minute
static constexpr useconds_t lock_pause = 50'000;

static Failure cannot_keep(const std::string &path, const std::string &why) {
    return Failure(exit_not_created,
                   catalogue_format("cannot keep the former script in %1$s: %2$s", path.c_str(), why.c_str()));
}

// The folder of the repository that a folder is in; empty without one.
static fs::path repository_of(const std::string &folder) {
    std::error_code problem;
    fs::path at = fs::canonical(folder, problem);
    if (problem) return {};
    for (;; at = at.parent_path()) {
        if (fs::exists(at / ".git", problem)) return at;
        if (at == at.parent_path()) return {};
    }
}

bool backup_has_git(const std::string &folder) {
    return !repository_of(folder).empty();
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

static bool is_there(const Opened &folder, const std::string &name) {
    return faccessat(folder.number(), name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

// Git itself does not wait for whoever changes the same repository.
static Opened locked(const std::string &folder, const Opened &top) {
    const fs::path repository = repository_of(folder);
    Opened opened(
        open((repository.empty() ? fs::path(folder) : repository).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened.isOpen()) opened = Opened(openat(top.number(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    for (int i = 0; flock(opened.number(), LOCK_EX | LOCK_NB) != 0; i++) {
        if (errno != EWOULDBLOCK && errno != EINTR) break; // where folders cannot be locked
        if (i == lock_tries) throw cannot_keep(folder, catalogue_text("another program is keeping scripts there"));
        usleep(lock_pause);
    }
    return opened;
}

Backup::Backup(std::string folder)
    : folder_(std::move(folder)), top_(open_made(folder_)), lock_(locked(folder_, top_)) {}

// The names of objects are no patterns.
static int git(const std::string &folder, std::vector<std::string> words, const std::vector<std::string> &files,
               ProgramOutput output, mode_t withheld) {
    words.insert(words.begin(), {"git", "--literal-pathspecs", "-C", folder});
    words.emplace_back("--");
    words.insert(words.end(), files.begin(), files.end());
    return program_run(words, output, withheld).status;
}

// As many files at a time as a command line takes in any case.
static std::vector<std::vector<std::string>> in_lines(const std::vector<std::vector<std::string>> &files,
                                                      size_t first) {
    constexpr size_t most = 500;
    std::vector<std::vector<std::string>> lines;
    for (size_t i = first; i < files.size(); i++) {
        if (lines.empty() || lines.back().size() >= most) lines.emplace_back();
        lines.back().insert(lines.back().end(), files[i].begin(), files[i].end());
    }
    return lines;
}

void Backup::commit(const std::vector<FormerScript> &scripts) const {
    const std::string message =
        scripts.size() == 1
            ? catalogue_format("Keep the former login script of %s", scripts.front().object.name.c_str())
            : catalogue_format(
                  catalogue_plural("Keep %zu former login script", "Keep %zu former login scripts", scripts.size()),
                  scripts.size());
    for (const std::vector<std::string> &files : in_lines(files_, 0))
        if (git(folder_, {"add", "-f"}, files, ProgramOutput::shown, withheld_) != 0 ||
            git(folder_, {"commit", "-q", "-m", message}, files, ProgramOutput::shown, withheld_) != 0)
            throw cannot_keep(folder_, catalogue_text("git could not commit it"));
}

void Backup::write(const std::string &file, mode_t rights, const std::string &text, const Opened &place) {
    const SignalsHeld held;
    const std::string name = name_of_file(file);
    const Opened made(openat(place.number(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, rights));
    if (made.isOpen()) files_.back().push_back(file);
    if (made.isOpen() && write_all(made.number(), text) && fsync(made.number()) == 0) return;
    throw cannot_keep(folder_ + "/" + file, strerror(errno));
}

void Backup::keepOne(const std::string &tree, const FormerScript &script) {
    constexpr mode_t reading = 0044, entering = 0055;
    struct stat found = {};
    if (fstat(top_.number(), &found) != 0) throw cannot_keep(folder_, strerror(errno));
    const mode_t rights = 0600 | (script.isPrivate ? 0 : found.st_mode & reading);
    if (script.isPrivate) withheld_ = of_others;
    const FormerName name = former_name(tree, script.object);
    const std::string path = name.path + "." + former_moment(), beside = name.path + ".name";
    const Opened place = folder_of_file(top_, path, 0700 | (found.st_mode & entering));
    if (!place.isOpen()) throw cannot_keep(folder_ + "/" + path, strerror(errno));
    files_.emplace_back();
    write(path, rights, script.text, place);
    if (name.isHashed && !is_there(place, name_of_file(beside)))
        write(beside, rights, script.object.typed + "\n", place);
}

void Backup::keep(const std::string &tree, const std::vector<FormerScript> &scripts) {
    files_.clear();
    try {
        for (const FormerScript &script : scripts) keepOne(tree, script);
        if (!scripts.empty() && backup_has_git(folder_)) commit(scripts);
    } catch (...) {
        takeBack(0);
        throw;
    }
}

bool Backup::takeBack(size_t first) {
    bool isGone = true;
    for (size_t i = first; i < files_.size(); i++) {
        for (const std::string &file : files_[i]) {
            const Opened place = folder_of_file(top_, file);
            unlinkat(place.number(), name_of_file(file).c_str(), 0);
        }
    }
    const bool hasGit = backup_has_git(folder_);
    for (const std::vector<std::string> &files : in_lines(files_, first)) {
        if (!hasGit) break;
        const auto quietly = [&](const std::vector<std::string> &words) {
            return git(folder_, words, files, ProgramOutput::dropped, withheld_);
        };
        constexpr int differs = 1;
        quietly({"rm", "-q", "-f", "--cached", "--ignore-unmatch"});
        // They are in the last commit, too, if it was made. No hook is to refuse or delay that they go.
        if (quietly({"diff", "--cached", "--quiet"}) != differs) continue;
        quietly({"-c", "core.hooksPath=/dev/null", "commit", "-q", "-m",
                 catalogue_text("Take back copies of login scripts that were not replaced")});
        isGone = quietly({"diff", "--cached", "--quiet"}) != differs && isGone;
    }
    files_.resize(std::min(first, files_.size()));
    return isGone;
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
