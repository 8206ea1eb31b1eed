// What a target stands for, asked of the directory client and, for other drives, of the link directory.
#ifndef TOOLS_MAP_RESOLVE_H
#define TOOLS_MAP_RESOLVE_H

#include <string>

#include "tools/map/link_directory.h"
#include "tools/map/location.h"

// The location of a target (location.h shows the forms). Server and volume exist, and so does the folder when the
// network file system is mounted. Objects are looked up in the tree and the context that QRT_TREE and QRT_CONTEXT name,
// without them from the root of the configuration's default tree. `links` is null where other drives are no target.
// Throws Refusal with the reason.
Location resolve_target(const std::string &target, const LinkDirectory *links);

#endif
