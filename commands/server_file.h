// Files on a server's volume, reached through the network file system's mount.
#ifndef COMMANDS_SERVER_FILE_H
#define COMMANDS_SERVER_FILE_H

#include <cstdint>
#include <string>
#include <string_view>

#include "base/text.h"

// A local path takes this many bytes, its NUL included; a longer one counts as not found.
constexpr size_t server_file_path_size = 512;

// mount point "/" user "/" server "/" name, without slashes and blanks at the very end. Empty when it is too long, or
// when ".." in the server or in the name would lead out of the server's directory.
std::string server_file_path(const std::string &server, const std::string &name);

// Reads the file `spec`, identifiers replaced and backslashes turned into "/". `server` is a name, ":" for the default
// server, or null for a name in the current drive's directory. Null when there is no such file, it is empty or no
// regular file.
OwnedText server_file_read(uint32_t handle, const char *server, std::string_view spec);

#endif
