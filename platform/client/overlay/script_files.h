// The login scripts in a site's folder, found by the names of their objects as object_path.h lays them out. A folder of
// it is listed when an object in it is first asked for, and a script is read once: what has been found stays.
#ifndef PLATFORM_CLIENT_OVERLAY_SCRIPT_FILES_H
#define PLATFORM_CLIENT_OVERLAY_SCRIPT_FILES_H

#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/client/core/names.h"
#include "platform/client/overlay/site_folder.h"

struct ScriptFile {
    std::string inside; // its path in the folder
    std::string shown;  // its path, for messages
    std::string text;
};

class ScriptFiles {
  public:
    // `folder` must outlive the object.
    explicit ScriptFiles(const SiteFolder &folder) : folder_(folder) {}

    // The object's script, null when it has none. Throws DataError for one that cannot be used, two of the same object,
    // and a file on the way whose name is malformed.
    const ScriptFile *script(const Name &name, bool isContainer);

    // Where the script of an object without one is to be put, as the folders on the way are spelled. Nothing when no
    // file can have that name.
    std::optional<std::string> newPath(const Name &name, bool isContainer);

    // The values that may name objects below a container: those with folders, and those with scripts.
    struct Values {
        std::vector<std::string> folders, scripts;
    };
    Values values(const Name &container);

  private:
    // What a folder has for each object_path_key: one, or several of which none can be meant.
    using Items = std::unordered_map<std::string, std::vector<std::string>>;
    struct Listed {
        Items folders;
        Items scripts;
        std::vector<std::string> own; // of the folder's object itself
    };

    const Listed &listed(const std::string &folder);
    const std::string *one(const std::string &folder, const std::vector<std::string> &items) const;
    const std::string *item(const std::string &folder, const Items &items, const std::string &value) const;
    std::optional<std::string> path(const Name &name, bool isContainer);

    const SiteFolder &folder_;
    std::unordered_map<std::string, Listed> listed_;              // by the folder's path, with a "/" at its end
    std::map<std::string, std::optional<ScriptFile>> scripts_[2]; // by name_key; of containers in the second
};

#endif
