// Which folders of mounted volumes do not exist: without waiting for a server that does not answer.
#ifndef TOOLS_MAP_MISSING_FOLDERS_H
#define TOOLS_MAP_MISSING_FOLDERS_H

#include <string>
#include <vector>

// For each of the paths whether it is known to be missing, or no folder. All are looked for at the same time, for a
// second altogether: what is not known by then, or cannot be seen, is not missing.
std::vector<bool> missing_folders(const std::vector<std::string> &paths);

#endif
