#include "tools/qrtscript/check/scripts.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "platform/catalogue.h"
#include "platform/common/nocase.h"
#include "platform/common/opened.h"

namespace fs = std::filesystem;

namespace {

// One walk through a folder.
struct Walk {
    const fs::path root; // without symbolic links
    const std::function<bool(const std::string &)> &excluded;
    Problems problems = {};
    std::vector<FoundScript> files = {};
    bool hasScripts = false; // excluded ones too

    void visit(const std::string &folder) {
        std::error_code error;
        fs::directory_iterator entries(folder, error);
        for (const fs::directory_iterator end; !error && entries != end; entries.increment(error)) take(*entries);
        if (error) problems.push_back(folder + ": " + error.message());
    }

    void take(const fs::directory_entry &entry) {
        std::error_code error; // of an entry that has gone again, or leads nowhere: there is nothing to check
        const std::string name = entry.path().string();
        if (entry.path().filename().string().front() == '.') return; // as import and export do
        const bool isLink = entry.is_symlink(error);
        const bool isFolder = entry.is_directory(error) && !isLink;
        const bool isScript = equal_nocase(entry.path().extension().string(), ".qrt") && entry.is_regular_file(error);
        hasScripts = hasScripts || isScript;
        if ((!isFolder && !isScript) || excluded(name)) return;
        if (isFolder)
            visit(name);
        else if (isLink)
            takeLink(name);
        else
            files.push_back({name, name});
    }

    void takeLink(const std::string &name) {
        std::error_code error;
        const fs::path target = fs::canonical(name, error);
        if (error) return;
        if (std::mismatch(root.begin(), root.end(), target.begin(), target.end()).first == root.end())
            files.push_back({name, target.string(), true});
        else
            problems.push_back(
                catalogue_format("%s: not read: the symbolic link leads out of the folder", name.c_str()));
    }
};

} // namespace

std::vector<FoundScript> script_files(const std::string &input,
                                      const std::function<bool(const std::string &)> &excluded, Problems *problems) {
    std::error_code error; // which reading it will report
    if (input == "-" || !fs::is_directory(input, error)) return {{input, input}};
    Walk walk = {fs::canonical(input, error), excluded};
    walk.visit(input);
    if (!walk.hasScripts && walk.problems.empty())
        walk.problems.push_back(catalogue_format("%s: no *.qrt file in it", input.c_str()));
    problems->insert(problems->end(), walk.problems.begin(), walk.problems.end());
    std::sort(walk.files.begin(), walk.files.end(),
              [](const FoundScript &a, const FoundScript &b) { return a.name < b.name; });
    return std::move(walk.files);
}

std::vector<FoundScript> script_files_to_rewrite(const std::string &input,
                                                 const std::function<bool(const std::string &)> &excluded,
                                                 Problems *problems) {
    std::vector<FoundScript> files = script_files(input, excluded, problems);
    std::stable_partition(files.begin(), files.end(), [](const FoundScript &file) { return !file.isLink; });
    return files;
}

static std::runtime_error not_regular(const std::string &name) {
    return std::runtime_error(name + ": " + catalogue_text("not a regular file"));
}

// A socket and a device without a driver have no error of their own that says what they are.
static bool is_special(const std::string &name) {
    struct stat status = {};
    return stat(name.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

std::string script_text(const std::string &name) {
    constexpr size_t limit = 64 << 20; // more than a login reads
    const auto fail = [&](int error) -> std::system_error { return {error, std::generic_category(), name}; };
    // A pipe without a writer is not waited for.
    const Opened file(name == "-" ? dup(STDIN_FILENO) : open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.isOpen()) {
        const int error = errno;
        if (error == ENXIO && is_special(name)) throw not_regular(name);
        throw fail(error);
    }
    struct stat status = {};
    if (fstat(file.number(), &status) != 0) throw fail(errno);
    if (name != "-" && S_ISDIR(status.st_mode)) throw fail(EISDIR);
    if (name != "-" && !S_ISREG(status.st_mode)) throw not_regular(name);
    std::string text;
    char part[65536];
    for (;;) {
        const ssize_t got = read(file.number(), part, sizeof part);
        if (got == 0) return text;
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) throw fail(errno);
        text.append(part, static_cast<size_t>(got));
        if (text.size() > limit) throw fail(EFBIG);
    }
}
