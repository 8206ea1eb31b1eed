// A folder of files with login scripts, laid out as the tree is (platform/client/overlay/object_path.h). It may come
// from a repository that many write to: no symbolic link in it is followed.
#ifndef TOOLS_QRTSCRIPT_OBJECT_SCRIPT_FOLDER_H
#define TOOLS_QRTSCRIPT_OBJECT_SCRIPT_FOLDER_H

#include <string>
#include <string_view>
#include <vector>

#include "platform/common/opened.h"

class ScriptFolder {
  public:
    // All throw Failure: exit_no_script for what cannot be read, exit_not_created for what cannot be written. Paths are
    // relative to the folder.
    enum class Missing { refused, made };
    ScriptFolder(std::string path, Missing missing);

    // The files with scripts, and all folders, with a "/" at their ends, in the order of their names; those whose names
    // begin with "." or "_" are left to the site, but for _container.qrt.
    struct Contents {
        std::vector<std::string> files, folders;
    };
    Contents contents() const;
    std::string read(const std::string &file) const;
    bool has(const std::string &file) const;
    // Makes or replaces the file as a whole, and makes the folders above it. A file that is there keeps its rights; a
    // new one is for everybody whom the umask lets in, or for its owner alone.
    void write(const std::string &file, std::string_view text, bool isPrivate) const;
    void remove(const std::string &file) const;
    // What was written is on the disk from now on.
    void sync() const;

    std::string shown(const std::string &file) const { return path_ + "/" + file; }

  private:
    void addContents(const std::string &inside, Contents *all) const;

    std::string path_;
    Opened folder_{-1};
};

#endif
