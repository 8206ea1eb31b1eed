// Former scripts, kept in a folder: TREE/acme/sales/jdoe.qrt.20261123T033201.123456Z, by the object (former_name.h) and
// the moment at which another script took its place.
//
// A folder that is missing is made for its owner alone. What is put into it may be read by whoever may read the folder,
// but no script of a private file by anybody else than the owner; the same goes for what Git makes of it.
#ifndef TOOLS_QRTSCRIPT_OBJECT_BACKUP_H
#define TOOLS_QRTSCRIPT_OBJECT_BACKUP_H

#include <sys/types.h>
#include <string>
#include <vector>

#include "platform/client/interface/scripts.h"
#include "platform/common/opened.h"

struct FormerScript {
    const ScriptObject &object;
    const std::string &text;
    bool isPrivate; // in a file that not everybody may read
};

// Scripts that are kept before others take their places. Programs that keep scripts in one folder, or in one Git
// repository, do it one after the other: each holds a lock for as long as its object lives.
class Backup {
  public:
    // Makes a folder that is missing, and waits for its lock. Throws Failure.
    explicit Backup(std::string folder);

    // Keeps all scripts, and commits them where the folder is in a Git repository. Throws Failure, and nothing of them
    // stays: what could not be kept must not be replaced.
    void keep(const std::string &tree, const std::vector<FormerScript> &scripts);
    // The scripts from this one on have not been replaced after all: their copies go. False when Git still has one.
    bool takeBack(size_t first);

  private:
    void keepOne(const std::string &tree, const FormerScript &script);
    void write(const std::string &file, mode_t rights, const std::string &text, const Opened &place);
    void commit(const std::vector<FormerScript> &scripts) const;

    std::string folder_;
    Opened top_{-1}, lock_{-1};
    mode_t withheld_ = 0;                         // from what Git makes
    std::vector<std::vector<std::string>> files_; // below the folder, for each script
};

// The paths of the object's former scripts below the folder, the latest first. Throws Failure, exit_no_script.
std::vector<std::string> backup_list(const std::string &folder, const std::string &tree, const ScriptObject &object);

// Is the folder in a Git repository?
bool backup_has_git(const std::string &folder);

#endif
