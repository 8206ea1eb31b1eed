#include "tools/qrtscript/plan/input.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "platform/catalogue.h"
#include "platform/common/opened.h"
#include "platform/common/write_all.h"
#include "platform/terminal_text.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtlogin/script_file.h"

// ---- times ----

static std::optional<time_t> seconds_since_1970(const std::string &text) {
    if (text.size() < 2 || text[0] != '@') return std::nullopt;
    char *end = nullptr;
    errno = 0;
    const long long number = strtoll(text.c_str() + 1, &end, 10);
    const bool isWhole = *end == '\0' && errno == 0 && number >= 0 && number <= INT32_MAX;
    return isWhole ? std::optional<time_t>(static_cast<time_t>(number)) : std::nullopt;
}

// The whole of the text by a format of strptime; fields that the format does not have stay as they are in `parts`.
static bool is_read(const std::string &text, const char *format, tm *parts) {
    tm read = *parts;
    const char *end = strptime(text.c_str(), format, &read);
    if (end == nullptr || *end != '\0') return false;
    *parts = read;
    return true;
}

static tm local_parts(time_t when) {
    tm parts = {};
    localtime_r(&when, &parts);
    return parts;
}

// mktime makes the 3rd of March of the 31st of February.
static bool is_that_day(const tm &wanted, time_t made, bool isUtc) {
    tm parts = {};
    if (isUtc)
        gmtime_r(&made, &parts);
    else
        localtime_r(&made, &parts);
    return parts.tm_year == wanted.tm_year && parts.tm_mon == wanted.tm_mon && parts.tm_mday == wanted.tm_mday;
}

static std::optional<time_t> calendar_time(const std::string &text) {
    const bool isUtc = !text.empty() && text.back() == 'Z';
    const std::string local = text.substr(0, text.size() - (isUtc ? 1 : 0));
    tm parts = local_parts(time(nullptr));
    parts.tm_hour = parts.tm_min = parts.tm_sec = 0;
    parts.tm_isdst = -1;
    bool read = false;
    for (const char *format :
         {"%Y-%m-%d %H:%M:%S", "%Y-%m-%d %H:%M", "%Y-%m-%dT%H:%M:%S", "%Y-%m-%dT%H:%M", "%Y-%m-%d"})
        read = read || is_read(local, format, &parts);
    for (const char *format : {"%H:%M:%S", "%H:%M"}) read = read || (!isUtc && is_read(local, format, &parts));
    if (!read) return std::nullopt;
    tm copy = parts;
    const time_t made = isUtc ? timegm(&copy) : mktime(&copy);
    if (made < 0 || !is_that_day(parts, made, isUtc)) return std::nullopt;
    return made;
}

time_t input_time(const std::string &text) {
    std::optional<time_t> when = seconds_since_1970(text);
    if (!when) when = calendar_time(text);
    if (!when)
        throw Failure(exit_usage,
                      catalogue_format("--as-of takes a time such as \"2026-03-05 09:05\", not \"%s\"", text.c_str()));
    return *when;
}

std::string input_time_text(time_t when) {
    const tm parts = local_parts(when);
    char text[64] = "";
    strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S %z", &parts);
    return text;
}

// ---- environments ----

// "BASH_FUNC_NAME%%=() {  ...", as bash exports a function: its lines go on up to a "}". Empty for none.
static std::string exported_function(const std::string &line) {
    static const std::string begin = "BASH_FUNC_", end = "%%=() {";
    const size_t equals = line.find('=');
    const size_t percents = equals == line.npos || equals < 2 ? line.npos : equals - 2;
    if (line.compare(0, begin.size(), begin) != 0 || percents == line.npos || percents <= begin.size() ||
        line.compare(percents, end.size(), end) != 0)
        return "";
    return line.substr(begin.size(), percents - begin.size());
}

static void note_function(const std::string &name, const std::string &shown, int number) {
    fprintf(stderr, "qrtscript plan: %s\n",
            catalogue_format("%1$s:%2$d: the exported shell function %3$s is left out", shown.c_str(), number,
                             terminal_text(name).c_str())
                .c_str());
}

std::vector<std::pair<std::string, std::string>> input_environment_lines(const std::string &text,
                                                                         const std::string &shown) {
    std::vector<std::pair<std::string, std::string>> variables;
    std::istringstream lines(text);
    int number = 0;
    bool inFunction = false;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (inFunction) {
            inFunction = line != "}";
            continue;
        }
        const std::string function = exported_function(line);
        if (!function.empty()) {
            note_function(function, shown, number);
            inFunction = line.back() != '}';
            continue;
        }
        if (line.empty() || line[0] == '#') continue;
        const size_t equals = line.find('=');
        if (equals == line.npos || equals == 0 || line.find('\0') != line.npos)
            throw Failure(exit_usage, catalogue_format("%1$s:%2$d: not NAME=value", shown.c_str(), number));
        variables.emplace_back(line.substr(0, equals), line.substr(equals + 1));
    }
    return variables;
}

// Whoever opens a named pipe waits for its writer.
static Opened open_regular(const std::string &path, off_t longest) {
    Opened file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    struct stat status = {};
    const char *problem = nullptr;
    if (!file.isOpen() || fstat(file.number(), &status) != 0)
        problem = strerror(errno);
    else if (S_ISDIR(status.st_mode))
        problem = strerror(EISDIR);
    else if (!S_ISREG(status.st_mode))
        problem = catalogue_text("not a regular file");
    else if (status.st_size > longest)
        problem = strerror(EFBIG);
    if (problem != nullptr)
        throw Failure(exit_no_script, catalogue_format("cannot open %1$s: %2$s", path.c_str(), problem));
    return file;
}

std::vector<std::pair<std::string, std::string>> input_environment(const std::string &path) {
    constexpr off_t longest = 16 << 20; // far more than a process can be given
    const Opened file = open_regular(path, longest);
    std::string text;
    char piece[65536];
    ssize_t got = 0;
    while ((got = TEMP_FAILURE_RETRY(read(file.number(), piece, sizeof piece))) > 0)
        text.append(piece, static_cast<size_t>(got));
    if (got < 0)
        throw Failure(exit_no_script, catalogue_format("cannot open %1$s: %2$s", path.c_str(), strerror(errno)));
    return input_environment_lines(text, path);
}

// ---- scripts ----

// Standard input in a file of the memory's, which the sessions' processes have as well.
static std::string standard_input() {
    constexpr size_t longest = 64 << 20; // as the texts that a script includes
    const int file = memfd_create("script", 0);
    char piece[65536];
    ssize_t got = 0;
    size_t length = 0;
    while (file >= 0 && (got = TEMP_FAILURE_RETRY(read(STDIN_FILENO, piece, sizeof piece))) > 0) {
        length += static_cast<size_t>(got);
        if (length > longest) errno = EFBIG;
        if (length > longest || !write_all(file, {piece, static_cast<size_t>(got)})) {
            got = -1;
            break;
        }
    }
    if (file < 0 || got < 0)
        throw Failure(exit_no_script, catalogue_format("cannot read standard input: %s", strerror(errno)));
    return "/proc/self/fd/" + std::to_string(file);
}

// An empty script, as in a login.
static bool is_null_device(const struct stat &status) {
    return S_ISCHR(status.st_mode) && status.st_rdev == makedev(1, 3);
}

void input_script_check(const std::optional<std::string> &path) {
    script_file_check(path);
    struct stat status = {};
    const bool isFound = path && stat(path->c_str(), &status) == 0;
    if (isFound && !S_ISREG(status.st_mode) && !is_null_device(status))
        throw Failure(exit_no_script, catalogue_format("cannot read the script %1$s: %2$s", path->c_str(),
                                                       catalogue_text("not a regular file")));
}

std::optional<std::string> input_script(const std::optional<std::string> &path) {
    if (path == "-") return standard_input();
    input_script_check(path);
    return path;
}
