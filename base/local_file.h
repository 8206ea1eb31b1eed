// Reading a whole local file, such as a script or a file on the network file system's mount.
#ifndef BASE_LOCAL_FILE_H
#define BASE_LOCAL_FILE_H

#include <cstddef>

#include "base/text.h"

// The text of the file at `path`, NUL-terminated, and its `length`; null when it cannot be opened, or is a folder or a
// pipe, which is not waited for. The file is opened once and sized from its descriptor; one that shrinks meanwhile is
// read as far as it goes. A character device reports no size: its text is empty, and nothing is read.
OwnedText local_file_read(const char *path, size_t &length);

#endif
