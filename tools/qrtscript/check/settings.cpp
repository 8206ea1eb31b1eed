#include "tools/qrtscript/check/settings.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "platform/catalogue.h"
#include "platform/client/core/toml.h"
#include "platform/common/opened.h"

namespace fs = std::filesystem;

namespace {

// A file while it is read: names the place in the errors.
class Reader {
  public:
    Reader(const std::string &path, Settings *settings) : path_(path), settings_(settings) {}
    void readTable(const toml::table &table);

  private:
    [[noreturn]] void fail(const toml::node &where, const std::string &what) const;
    [[noreturn]] void fail(const toml::key &where, const std::string &what) const;
    std::string text(const toml::node &node) const;
    std::vector<const toml::node *> list(const toml::node &node) const;
    template <typename Where>
    const Code *code(const Where &where, std::string_view name) const;
    Severity severity(const toml::node &node) const;
    void readCodes(const toml::node &node);

    const std::string &path_;
    Settings *settings_;
};

} // namespace

static std::string at_place(const std::string &path, const toml::source_region &where, const std::string &what) {
    return path + ":" + std::to_string(where.begin.line) + ":" + std::to_string(where.begin.column) + ": " + what;
}

void Reader::fail(const toml::node &where, const std::string &what) const {
    throw SettingsError(at_place(path_, where.source(), what));
}

void Reader::fail(const toml::key &where, const std::string &what) const {
    throw SettingsError(at_place(path_, where.source(), what));
}

std::string Reader::text(const toml::node &node) const {
    if (const auto *found = node.as_string()) return found->get();
    fail(node, catalogue_text("expected a string"));
}

std::vector<const toml::node *> Reader::list(const toml::node &node) const {
    if (!node.is_array()) fail(node, catalogue_text("expected a list of strings"));
    std::vector<const toml::node *> all;
    for (const toml::node &one : *node.as_array()) all.push_back(&one);
    return all;
}

template <typename Where>
const Code *Reader::code(const Where &where, std::string_view name) const {
    const Code *found = code_named(name);
    if (found == nullptr) fail(where, catalogue_format("there is no code %s", std::string(name).c_str()));
    return found;
}

Severity Reader::severity(const toml::node &node) const {
    const std::string name = text(node);
    const std::optional<Severity> found = severity_named(name);
    if (!found) fail(node, catalogue_format("no such severity: %s", name.c_str()));
    return *found;
}

void Reader::readCodes(const toml::node &node) {
    if (!node.is_table()) fail(node, catalogue_text("expected a table"));
    for (const auto &[name, value] : *node.as_table()) settings_->severities[code(name, name.str())] = severity(value);
}

void Reader::readTable(const toml::table &table) {
    for (const auto &[name, value] : table) {
        const std::string_view key = name.str();
        if (key == "severity")
            settings_->severity = severity(value);
        else if (key == "disable")
            for (const toml::node *one : list(value)) settings_->disabled.insert(code(*one, text(*one)));
        else if (key == "exclude")
            for (const toml::node *one : list(value)) settings_->excluded.push_back(text(*one));
        else if (key == "codes")
            readCodes(value);
        else
            fail(name, catalogue_format("unknown key: %s", std::string(key).c_str()));
    }
}

Settings settings_of_text(const std::string &path, std::string_view text) {
    Settings settings;
    try {
        Reader(path, &settings).readTable(toml::parse(text));
    } catch (const toml::parse_error &error) {
        throw SettingsError(at_place(path, error.source(), std::string(error.description())));
    }
    return settings;
}

// ---- patterns ----

// Not fnmatch: with many asterisks it takes time without end.
static bool matches(std::string_view pattern, std::string_view text) {
    size_t p = 0, t = 0, star = pattern.npos, taken = 0; // the last "*", and how far it reaches
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            taken = t;
        } else if (p < pattern.size() && (pattern[p] == text[t] || (pattern[p] == '?' && text[t] != '/'))) {
            ++p;
            ++t;
        } else if (star != pattern.npos && text[taken] != '/') {
            p = star + 1;
            t = ++taken;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '*') ++p;
    return p == pattern.size();
}

static bool matches_path(std::string_view pattern, std::string_view path) {
    if (pattern.find('/') != pattern.npos) return matches(pattern, path);
    const size_t folder = path.rfind('/');
    return matches(pattern, folder == path.npos ? path : path.substr(folder + 1));
}

bool settings_exclude(const Settings &settings, std::string_view path) {
    for (std::string_view pattern : settings.excluded) {
        while (pattern.size() > 1 && pattern.back() == '/') pattern.remove_suffix(1);
        if (matches_path(pattern, path)) return true;
    }
    return false;
}

std::string settings_path(const Settings &settings, const std::string &name) {
    const fs::path path(name);
    std::error_code error;
    const fs::path folder = fs::canonical(path.has_parent_path() ? path.parent_path() : ".", error);
    return (folder / path.filename()).lexically_relative(settings.folder).string();
}

// ---- files ----

// Nothing when there is no such file.
static std::optional<std::string> file_content(const std::string &path) {
    constexpr size_t limit = 64 << 10;
    const auto fail = [&](const char *reason) { throw SettingsError(path + ": " + reason); };
    // Of a symbolic link, which may lead to anything, not even the error messages are to show a part.
    const Opened file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!file.isOpen() && (errno == ENOENT || errno == ENOTDIR)) return {};
    if (!file.isOpen() && errno == ELOOP) fail(catalogue_text("not a regular file"));
    if (!file.isOpen()) fail(strerror(errno));
    struct stat status = {};
    if (fstat(file.number(), &status) != 0) fail(strerror(errno));
    if (!S_ISREG(status.st_mode)) fail(catalogue_text("not a regular file"));
    std::string text(limit + 1, '\0');
    size_t size = 0;
    while (size <= limit) {
        const ssize_t got = read(file.number(), &text[size], text.size() - size);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) fail(strerror(errno));
        if (got == 0) break;
        size += static_cast<size_t>(got);
    }
    if (size > limit) fail(strerror(EFBIG));
    text.resize(size);
    return text;
}

const Settings &SettingsFiles::search(const std::string &folder) {
    const auto known = folders_.find(folder);
    if (known != folders_.end()) return known->second;
    const auto broken = errors_.find(folder);
    if (broken != errors_.end()) throw SettingsError(broken->second);
    const std::string path = (fs::path(folder) / settings_name).string();
    try {
        if (const std::optional<std::string> text = file_content(path)) {
            Settings settings = settings_of_text(path, *text);
            settings.folder = folder;
            return folders_[folder] = std::move(settings);
        }
    } catch (const SettingsError &error) {
        errors_[folder] = error.what();
        throw;
    }
    const std::string above = fs::path(folder).parent_path().string();
    if (above == folder) return folders_[folder];
    const Settings &found = search(above);
    return folders_[folder] = found;
}

const Settings &SettingsFiles::ofFolder(const std::string &folder) {
    std::error_code error;
    const fs::path real = fs::canonical(folder, error);
    if (error) throw SettingsError(folder + ": " + error.message());
    return search(real.string());
}

const Settings &SettingsFiles::ofScript(const std::string &name) {
    const fs::path folder = name == "-" ? fs::path() : fs::path(name).parent_path();
    return ofFolder(folder.empty() ? "." : folder.string());
}
