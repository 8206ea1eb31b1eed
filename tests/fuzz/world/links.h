// The directory of the drives' links as map sees it: symbolic links in memory, all the user's own.
#ifndef FUZZ_WORLD_LINKS_H
#define FUZZ_WORLD_LINKS_H

#include <map>
#include <string>

// By name: where each leads.
extern std::map<std::string, std::string> links;

// The directory is at this path; the hooks of files.h lead here.
void links_start(const char *directory);

// Is it a folder? Set by the target.
extern bool (*links_is_folder)(const char *path);

#endif
