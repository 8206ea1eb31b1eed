// The automounter's program map: what stands under a key in one of the folders that automount manages.
#ifndef TOOLS_AUTOMOUNT_MAP_ENTRY_H
#define TOOLS_AUTOMOUNT_MAP_ENTRY_H

#include <sys/types.h>
#include <optional>
#include <string>

#include "tools/automount/site.h"

// The map's line for `key` in the folder `folder`, which is the mount point, a user's folder in it or a server's folder
// in that; an empty string for a key that means nothing. `program` is this program's own path, which is the map of the
// folders below as well. A volume's entry names nothing but the mount helper (mount_volume.h), which knows from the
// path what is meant: no name of a user, server or share has to pass automount's and mount's own reading of options.
// The source it names says only whether `requester` is that user or root.
std::string map_entry(const std::string &folder, const std::string &key, const std::string &program,
                      const std::optional<uid_t> &requester);

#endif
