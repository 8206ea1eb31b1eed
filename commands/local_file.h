// Reading a whole local file, such as a script or a file on the network file system's mount.
#ifndef COMMANDS_LOCAL_FILE_H
#define COMMANDS_LOCAL_FILE_H

#include <cstddef>

#include "commands/text.h"

// The text of the file at `path`, NUL-terminated, and its `length`; null when it cannot be opened or is a folder. The
// file is opened once and sized from its descriptor; one that shrinks meanwhile is read as far as it goes. Pipes and
// devices tell no size: their text is empty, and they are neither read nor waited for.
OwnedText local_file_read(const char *path, size_t &length);

#endif
