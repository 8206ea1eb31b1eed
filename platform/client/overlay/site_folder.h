// The folder with what a site adds to its directory. What is in it decides which programs run as each user, so that
// only what the administrator alone can have written is taken: whatever is opened belongs to root and no group or
// others may write to it. Where the configuration file is the user's own, and the process has no more rights than that
// user, so may the folder be.
//
// What is checked is what has been opened. Symbolic links may lead from one place of the folder to another. On a mount
// whose server is dead the folder is given up at a time limit.
#ifndef PLATFORM_CLIENT_OVERLAY_SITE_FOLDER_H
#define PLATFORM_CLIENT_OVERLAY_SITE_FOLDER_H

#include <sys/types.h>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/client/core/descriptor.h"
#include "platform/client/core/file_access.h"

struct SiteItem {
    std::string name;
    bool mayBeFolder; // a symbolic link may be either
    bool mayBeFile;
};

class SiteFolder {
  public:
    // `configurationOwner`: whose the configuration file is; `timeLimit`: in seconds, as FileAccess has it. All throw
    // DataError, with the path, for what cannot be opened or is refused; paths are relative to the folder.
    SiteFolder(const std::string &path, uid_t configurationOwner, double timeLimit = 0);

    // What is in a folder of it, "" for itself, but those whose names begin with ".".
    std::vector<SiteItem> items(const std::string &folder) const;
    // The whole of a regular file of at most `limit` bytes.
    std::string read(const std::string &file, size_t limit) const;
    // The same; nothing when there is no such file.
    std::optional<std::string> readIfThere(const std::string &file, size_t limit) const;

    // May everybody read the file?
    bool isForAll(const std::string &file) const;

    // The folder that a file is in, symbolic links followed, and the file's name there. With `make` the folders that
    // are missing are made, for everybody to read.
    Descriptor folderOf(const std::string &file, bool make, std::string *name) const;

    // As messages show it.
    std::string shown(const std::string &inside) const { return path_ + "/" + inside; }

  private:
    class Opened;
    template <typename Result>
    Result ask(const std::string &what, std::function<Result(const Opened &, FileSteps *)> question) const;

    std::string path_; // without a "/" at its end
    mutable FileAccess access_;
    std::shared_ptr<const Opened> opened_;
};

#endif
