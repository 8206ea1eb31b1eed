// Where a file is in a folder that others may write to: no symbolic link on the way is followed.
#ifndef TOOLS_QRTSCRIPT_OBJECT_FILE_PLACE_H
#define TOOLS_QRTSCRIPT_OBJECT_FILE_PLACE_H

#include <sys/types.h>
#include <optional>
#include <string>

#include "platform/common/opened.h"

// The folder below `top` that a file is in, each opened from the one before. With `rights`, folders that are missing
// are made, with these less the umask. Not open, with errno, where it cannot be opened or made.
Opened folder_of_file(const Opened &top, const std::string &file, std::optional<mode_t> rights = std::nullopt);

// The file's name there.
std::string name_of_file(const std::string &file);

#endif
