#include "tools/qrtlogin/environment.h"

#include <unistd.h>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>

#include "tools/code_variables.h"
#include "tools/own_folder.h"

static std::map<std::string, std::string> environment_copy() {
    std::map<std::string, std::string> copy;
    for (char **entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        std::string text = *entry;
        size_t equals = text.find('=');
        if (equals != std::string::npos) copy.emplace(text.substr(0, equals), text.substr(equals + 1));
    }
    return copy;
}

static void restore(const std::map<std::string, std::string> &before, const std::string &name) {
    auto old = before.find(name);
    if (old == before.end())
        unsetenv(name.c_str());
    else
        setenv(name.c_str(), old->second.c_str(), 1);
}

static std::string path_without(const std::string &path, const std::string &element) {
    std::string kept = ":" + path + ":";
    const std::string wanted = ":" + element + ":";
    for (size_t at = kept.find(wanted); at != std::string::npos; at = kept.find(wanted, at))
        kept.erase(at, wanted.size() - 1);
    return kept.size() > 2 ? kept.substr(1, kept.size() - 2) : "";
}

RunEnvironment::RunEnvironment() : before_(environment_copy()) {}

void RunEnvironment::lend(const std::string &name, const std::string &value) {
    lent_[name] = value;
    setenv(name.c_str(), value.c_str(), 1);
}

void RunEnvironment::lendPathFolder(const std::string &folder) {
    // A colon would cut the folder in two.
    if (folder.empty() || folder.find(':') != std::string::npos) return;
    const char *path = getenv("PATH");
    // Without PATH a search goes through the system's own folders; a PATH of one folder would hide them.
    std::string rest = path != nullptr ? path : "/usr/local/bin:/usr/bin:/bin";
    // Spelled as nothing in PATH is, so that taking it back leaves alone what the user or a script has of the folder.
    pathElement_ = folder;
    do pathElement_ += "/.";
    while (path_without(rest, pathElement_) != rest);
    lend("PATH", pathElement_ + ":" + rest);
}

void RunEnvironment::ignore(const std::string &name) {
    const char *value = getenv(name.c_str());
    lent_[name] = value != nullptr ? value : "0";
}

void RunEnvironment::takeBack() {
    for (const auto &[name, value] : lent_) {
        const char *now = getenv(name.c_str());
        if (now != nullptr && now == value) restore(before_, name);
    }
    // A script that extended PATH has the lent folder in its value, wherever it put its own.
    const char *path = getenv("PATH");
    if (path != nullptr && !pathElement_.empty()) setenv("PATH", path_without(path, pathElement_).c_str(), 1);
}

std::vector<std::string> RunEnvironment::keepCodeVariables() {
    const std::map<std::string, std::string> now = environment_copy();
    std::vector<std::string> changed;
    for (const auto &[name, value] : now) {
        auto old = before_.find(name);
        if (environment_runs_code(name) && (old == before_.end() || old->second != value)) changed.push_back(name);
    }
    for (const auto &[name, value] : before_)
        if (environment_runs_code(name) && now.count(name) == 0) changed.push_back(name);
    for (const std::string &name : changed) restore(before_, name);
    return changed;
}

std::map<std::string, std::string> RunEnvironment::changes() const {
    std::map<std::string, std::string> changed;
    for (const auto &[name, value] : environment_copy()) {
        auto old = before_.find(name);
        if (old == before_.end() || old->second != value) changed.emplace(name, value);
    }
    return changed;
}

std::string RunEnvironment::exportLines() const {
    std::string lines;
    for (const auto &[name, value] : changes())
        if (shell_is_name(name)) lines += "export " + name + "=" + shell_quote(value) + "\n";
    return lines;
}

std::string shell_quote(const std::string &text) {
    std::string quoted = "'";
    for (char c : text)
        if (c == '\'')
            quoted += "'\\''";
        else
            quoted += c;
    return quoted + "'";
}

bool shell_is_name(const std::string &name) {
    static const char letters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_";
    static const char lettersAndDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_0123456789";
    return !name.empty() && strchr(letters, name[0]) != nullptr &&
           name.find_first_not_of(lettersAndDigits) == std::string::npos;
}

std::string own_folder_with(const std::string &program) {
    std::string folder = own_folder();
    return access((folder + "/" + program).c_str(), X_OK) == 0 ? folder : "";
}
