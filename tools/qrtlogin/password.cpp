#include "tools/qrtlogin/password.h"

#include <bsd/readpassphrase.h>
#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>

#include "platform/catalogue.h"
#include "platform/common/late_library.h"
#include "platform/terminal_text.h"
#include "tools/qrtlogin/failure.h"

static Failure unreadable(int descriptor, int problem) {
    return Failure(exit_usage, catalogue_format("cannot read the password from file descriptor %1$d: %2$s", descriptor,
                                                strerror(problem)));
}

Secret password_ask(const std::string &question) {
    Secret answer;
    const size_t size = answer.capacity() + 2;
    // A login whose password comes through a descriptor does without libbsd.
    const auto read = late_function<decltype(readpassphrase)>(LIBBSD_SONAME, "readpassphrase");
    if (read == nullptr) throw Failure(exit_system, catalogue_format("cannot load a library: %s", dlerror()));
    if (read(terminal_text(question).c_str(), answer.text(), size, RPP_REQUIRE_TTY) == nullptr) {
        if (errno == ENOTTY)
            throw Failure(
                exit_password,
                catalogue_text(
                    "cannot read the password: no terminal; --password-fd 0 reads it from the standard input"));
        throw Failure(exit_password, catalogue_text("cannot read the password: cancelled"));
    }
    // An empty line and the end of input look alike.
    if (answer.empty()) throw Failure(exit_password, catalogue_text("no password was entered"));
    if (strlen(answer.text()) > answer.capacity())
        throw Failure(exit_password, catalogue_text("the password is too long"));
    return answer;
}

void password_require_open(int descriptor) {
    if (fcntl(descriptor, F_GETFD) < 0) throw unreadable(descriptor, errno);
}

// Up to the line end, or to the end.
static Secret read_line(int descriptor) {
    Secret password;
    char *text = password.text();
    size_t length = 0;
    ssize_t got = 0;
    while (length <= password.capacity()) {
        got = TEMP_FAILURE_RETRY(read(descriptor, text + length, 1));
        if (got <= 0 || text[length] == '\n') break;
        ++length;
    }
    text[length] = '\0';
    if (got < 0) throw unreadable(descriptor, errno);
    if (length > password.capacity()) throw Failure(exit_password, catalogue_text("the password is too long"));
    if (length == 0) throw Failure(exit_password, catalogue_format("no password on file descriptor %d", descriptor));
    if (strlen(text) != length) throw Failure(exit_password, catalogue_text("the password contains a NUL byte"));
    return password;
}

// The scripts' programs have a standard input, and no file that is opened later gets its number.
static void put_away(int descriptor) {
    close(descriptor);
    if (descriptor <= STDERR_FILENO && open("/dev/null", O_RDWR) != descriptor)
        throw Failure(exit_usage, catalogue_format("cannot open /dev/null: %s", strerror(errno)));
}

Secret password_read(int descriptor) {
    Secret password = read_line(descriptor);
    put_away(descriptor);
    return password;
}

void password_read_both(int descriptor, Secret *before, Secret *after) {
    *before = read_line(descriptor);
    *after = read_line(descriptor);
    put_away(descriptor);
}
