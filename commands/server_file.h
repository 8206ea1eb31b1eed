// Files on a server's volume, reached through the network file system's mount: the local path of a network file, and
// the connection to its server. The reader itself, qrt_GetFile, is declared in file_spec.h.
#ifndef COMMANDS_SERVER_FILE_H
#define COMMANDS_SERVER_FILE_H

#include <string>

// A local path takes this many bytes, its NUL included; a longer one counts as not found.
constexpr size_t server_file_path_size = 512;

// mount point "/" user "/" server "/" name, without slashes and blanks at the very end. Empty when it is too long, or
// when ".." in the server or in the name would lead out of the server's directory.
std::string server_file_path(const std::string &server, const std::string &name);

#endif
