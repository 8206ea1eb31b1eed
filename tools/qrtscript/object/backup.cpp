#include "tools/qrtscript/object/backup.h"

#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <functional>

#include "platform/catalogue.h"
#include "platform/common/opened.h"
#include "platform/common/write_all.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtscript/object/options.h"
#include "tools/qrtscript/object/private_folder.h"
#include "tools/qrtscript/object/program.h"

namespace fs = std::filesystem;

static Failure cannot_keep(const std::string &path, const std::string &why) {
    return Failure(exit_not_created,
                   catalogue_format("cannot keep the former script in %1$s: %2$s", path.c_str(), why.c_str()));
}

// Without the time.
static std::string path_of(const std::string &tree, const ScriptObject &object) {
    std::string top = file_name_of(tree);
    top.resize(top.size() - strlen(".qrt"));
    return top + "/" + object.file.value_or(file_name_of(object.name)) + ".";
}

static std::string moment() {
    timeval now = {};
    gettimeofday(&now, nullptr);
    tm parts = {};
    char text[64];
    const size_t length = strftime(text, sizeof text, "%Y%m%dT%H%M%S", gmtime_r(&now.tv_sec, &parts));
    snprintf(text + length, sizeof text - length, ".%06ldZ", static_cast<long>(now.tv_usec));
    return text;
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

static void commit(const std::string &folder, const std::string &path, const ScriptObject &object) {
    const std::string message = catalogue_format("Keep the former login script of %s", object.name.c_str());
    const std::vector<std::string> git = {"git", "-C", folder};
    const auto run = [&](std::initializer_list<std::string> words) {
        std::vector<std::string> all = git;
        all.insert(all.end(), words);
        if (program_run(all, ProgramOutput::shown).status != 0)
            throw cannot_keep(folder, catalogue_text("git could not commit it"));
    };
    run({"add", "-f", "--", path});
    run({"commit", "-q", "-m", message, "--", path});
}

void backup_keep(const std::string &folder, const std::string &tree, const ScriptObject &object,
                 const std::string &text) {
    const std::string path = path_of(tree, object) + moment(), whole = folder + "/" + path;
    std::error_code problem;
    fs::create_directories(fs::path(whole).parent_path(), problem);
    if (problem) throw cannot_keep(folder, problem.message());
    const Opened made(open(whole.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666));
    if (!made.isOpen()) throw cannot_keep(whole, strerror(errno));
    if (!write_all(made.number(), text) || fsync(made.number()) != 0) {
        const std::string why = strerror(errno);
        unlink(whole.c_str());
        throw cannot_keep(whole, why);
    }
    if (backup_has_git(folder)) commit(folder, path, object);
}

std::vector<std::string> backup_list(const std::string &folder, const std::string &tree, const ScriptObject &object) {
    const fs::path start = path_of(tree, object);
    const std::string name = start.filename();
    std::vector<std::string> found;
    std::error_code problem;
    for (const auto &item : fs::directory_iterator(folder / start.parent_path(), problem)) {
        const std::string one = item.path().filename();
        if (one.compare(0, name.size(), name) == 0 && one.size() > name.size())
            found.push_back((start.parent_path() / one).string());
    }
    std::sort(found.begin(), found.end(), std::greater<>());
    return found;
}
