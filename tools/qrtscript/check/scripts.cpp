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
#include "platform/common/opened.h"

namespace fs = std::filesystem;

namespace {

// One walk through a folder.
struct Walk {
    const std::function<bool(const std::string &)> &excluded;
    Problems *problems;
    std::vector<std::string> names = {};

    void visit(const std::string &folder) {
        std::error_code error;
        fs::directory_iterator entries(folder, error);
        for (const fs::directory_iterator end; !error && entries != end; entries.increment(error)) take(*entries);
        if (error) problems->push_back(folder + ": " + error.message());
    }

    void take(const fs::directory_entry &entry) {
        std::error_code error; // of an entry that has gone again, or leads nowhere: there is nothing to check
        const bool isFolder = entry.is_directory(error) && !entry.is_symlink(error);
        const bool isScript = entry.path().extension() == ".qrt" && entry.is_regular_file(error);
        if ((!isFolder && !isScript) || excluded(entry.path().string())) return;
        if (isFolder)
            visit(entry.path().string());
        else
            names.push_back(entry.path().string());
    }
};

} // namespace

std::vector<std::string> script_files(const std::string &input,
                                      const std::function<bool(const std::string &)> &excluded, Problems *problems) {
    std::error_code error; // which reading it will report
    if (input == "-" || !fs::is_directory(input, error)) return {input};
    Walk walk = {excluded, problems};
    walk.visit(input);
    std::sort(walk.names.begin(), walk.names.end());
    return walk.names;
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
