#include "tools/qrtscript/password_input.h"

#include <sys/stat.h>
#include <unistd.h>

#include "platform/catalogue.h"
#include "tools/qrtlogin/failure.h"

static bool is_same(const struct stat &a, const struct stat &b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

void password_input_check(int descriptor, const std::string &file) {
    struct stat password = {}, other = {};
    if (descriptor < 0 || fstat(descriptor, &password) != 0) return;
    const bool isFound = file == "-" ? fstat(STDIN_FILENO, &other) == 0 : stat(file.c_str(), &other) == 0;
    if (!isFound || !is_same(password, other)) return;
    if (file == "-")
        throw Failure(exit_usage, catalogue_text("the password and the script cannot both come from standard input"));
    throw Failure(exit_usage, catalogue_format("cannot read %1$s: file descriptor %2$d reads the password from it",
                                               file.c_str(), descriptor));
}
