#include "tools/qrtlogin/script_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>

#include "platform/catalogue.h"
#include "tools/qrtlogin/failure.h"

[[noreturn]] static void refuse(const std::string &path, const char *why) {
    throw Failure(exit_no_script, catalogue_format("cannot read the script %1$s: %2$s", path.c_str(), why));
}

// Not opened: that would wait for the writer of a named pipe.
void script_file_check(const std::optional<std::string> &path) {
    if (!path || *path == "<DEFAULT>") return;
    struct stat status = {};
    if (stat(path->c_str(), &status) != 0 || faccessat(AT_FDCWD, path->c_str(), R_OK, AT_EACCESS) != 0)
        refuse(*path, strerror(errno));
    if (S_ISDIR(status.st_mode)) refuse(*path, strerror(EISDIR));
    // The library goes by the size, which a pipe does not have: it would run an empty script.
    if (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode)) refuse(*path, catalogue_text("not a regular file"));
}
