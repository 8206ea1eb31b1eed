#include "tools/qrtscript/check/scripts.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "platform/common/opened.h"

namespace fs = std::filesystem;

std::vector<std::string> script_files(const std::string &input) {
    if (input == "-" || !fs::is_directory(input)) return {input};
    std::vector<std::string> names;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(input))
        if (entry.is_regular_file() && entry.path().extension() == ".qrt") names.push_back(entry.path());
    std::sort(names.begin(), names.end());
    return names;
}

std::string script_text(const std::string &name) {
    constexpr size_t limit = 64 << 20; // more than a login reads
    const auto fail = [&](int error) -> std::system_error { return {error, std::generic_category(), name}; };
    // A pipe without a writer is not waited for.
    const Opened file(name == "-" ? dup(STDIN_FILENO) : open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.isOpen()) throw fail(errno);
    struct stat status = {};
    if (fstat(file.number(), &status) != 0) throw fail(errno);
    if (name != "-" && !S_ISREG(status.st_mode)) throw fail(S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
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
