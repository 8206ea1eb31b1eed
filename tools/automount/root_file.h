// Files that root alone can have written. What the automounter reads decides what root mounts, so a file counts only
// if it and all folders above it are root's, are no symbolic links, and can be written by nobody else. (In a folder
// like /tmp, sticky, nobody replaces what is root's: it may stand on the way.) A process of another user, a test, takes
// its own files for root's.
#ifndef TOOLS_AUTOMOUNT_ROOT_FILE_H
#define TOOLS_AUTOMOUNT_ROOT_FILE_H

#include <cstddef>
#include <stdexcept>
#include <string>

// What the automounter cannot do, in words, for the log of the system.
struct AutomountError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Throws AutomountError unless the file can be trusted. `path` is absolute.
void root_file_check(const std::string &path);

// The text of such a file, at most `limit` bytes. False when it does not exist. Throws AutomountError for one that
// cannot be read or trusted.
bool root_file_read(const std::string &path, size_t limit, std::string *text);

// Replaces the file (mode 0644) in one step; folders that are missing are made (mode 0755). Throws AutomountError.
void root_file_write(const std::string &path, const std::string &text);

#endif
