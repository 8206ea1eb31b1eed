// Former scripts, kept in a folder: TREE/acme/sales/jdoe.qrt.20261123T033201.123456Z, by the path that the script of
// the object has in a folder of scripts and the moment at which another one took its place.
#ifndef TOOLS_QRTSCRIPT_OBJECT_BACKUP_H
#define TOOLS_QRTSCRIPT_OBJECT_BACKUP_H

#include <string>
#include <vector>

#include "platform/client/interface/scripts.h"

// Keeps a script, and commits it where the folder is in a Git repository. Throws Failure: what could not be kept must
// not be replaced.
void backup_keep(const std::string &folder, const std::string &tree, const ScriptObject &object,
                 const std::string &text);

// The paths of the object's former scripts below the folder, the latest first.
std::vector<std::string> backup_list(const std::string &folder, const std::string &tree, const ScriptObject &object);

// Is the folder in a Git repository?
bool backup_has_git(const std::string &folder);

#endif
