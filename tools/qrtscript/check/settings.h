// `.qrtscriptrc`: what a tree of scripts wants to be checked for, as TOML.
//
//     severity = "warning"                  # report findings of this severity and above
//     disable = ["QS1014"]                  # codes that are not reported
//     exclude = ["old", "sites/*/draft-*"]  # what is left out of a folder that is checked
//     [codes]                               # severities in place of the codes' own
//     QS1012 = "error"
//
// The file may come from people who are not trusted: all that it can do is hide and weigh findings.
#ifndef TOOLS_QRTSCRIPT_CHECK_SETTINGS_H
#define TOOLS_QRTSCRIPT_CHECK_SETTINGS_H

#include <map>
#include <optional>
#include <set>
#include <stdexcept>

#include "tools/qrtscript/check/finding.h"

inline constexpr char settings_name[] = ".qrtscriptrc";

struct Settings {
    std::string folder; // of the file, without symbolic links
    std::optional<Severity> severity;
    std::set<const Code *> disabled;
    std::map<const Code *, Severity> severities;
    std::vector<std::string> excluded;
};

// What is wrong with a file, with its name and line.
class SettingsError : public std::runtime_error {
  public:
    using runtime_error::runtime_error;
};

// Reads the text of a file; `path` is for messages. Throws SettingsError.
Settings settings_of_text(const std::string &path, std::string_view text);

// Whether a file or folder, named from the folder of the settings on, is left out. A pattern without "/" is for a name
// in any folder, another one for a path; "*" is any text without "/", "?" a letter of it.
bool settings_exclude(const Settings &settings, std::string_view path);

// How a file is named from the folder of the settings on.
std::string settings_path(const Settings &settings, const std::string &name);

// The settings for scripts, each file read once.
class SettingsFiles {
  public:
    // For the scripts of a folder: the nearest file in it or above it; empty settings when there is none. Throws
    // SettingsError, each time anew.
    const Settings &ofFolder(const std::string &folder);
    // For a script; "-", standard input, belongs to the current folder.
    const Settings &ofScript(const std::string &name);

  private:
    const Settings &search(const std::string &folder);

    std::map<std::string, Settings> folders_;
    std::map<std::string, std::string> errors_;
};

#endif
