// Former scripts, kept in a folder: TREE/acme/sales/jdoe.qrt.20261123T033201.123456Z, by the object (former_name.h) and
// the moment at which another script took its place.
//
// A folder that is missing is made for its owner alone. What is put into it may be read by whoever may read the folder,
// but no script of a private file by anybody else than the owner; the same goes for what Git makes of it.
#ifndef TOOLS_QRTSCRIPT_OBJECT_BACKUP_H
#define TOOLS_QRTSCRIPT_OBJECT_BACKUP_H

#include <string>
#include <vector>

#include "platform/client/interface/scripts.h"

struct FormerScript {
    const ScriptObject &object;
    const std::string &text;
    bool isPrivate; // in a file that not everybody may read
};

// Keeps a script, and commits it where the folder is in a Git repository. Throws Failure: what could not be kept must
// not be replaced.
void backup_keep(const std::string &folder, const std::string &tree, const FormerScript &script);

// The paths of the object's former scripts below the folder, the latest first. Throws Failure, exit_no_script.
std::vector<std::string> backup_list(const std::string &folder, const std::string &tree, const ScriptObject &object);

// Is the folder in a Git repository?
bool backup_has_git(const std::string &folder);

#endif
