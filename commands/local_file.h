// Reading a whole local file, such as a script or a file on the network file system's mount.
#ifndef COMMANDS_LOCAL_FILE_H
#define COMMANDS_LOCAL_FILE_H

#include <cstddef>

#include "commands/text.h"

// The text of the regular file at `path`, NUL-terminated, and its `length`; null when it cannot be opened or is no
// regular file. The file is opened once and sized from its descriptor; one that shrinks meanwhile is read as far as it
// goes. Pipes and devices are refused without waiting for them.
OwnedText local_file_read(const char *path, size_t &length);

#endif
