#include "tools/qrtlogin/secret.h"

#include <readpassphrase.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>

#include "platform/catalogue.h"
#include "tools/program_start.h"
#include "tools/qrtlogin/failure.h"

void Secret::wipe() {
    explicit_bzero(text_, sizeof text_);
}

void Secret::ask(const std::string &question) {
    if (readpassphrase(question.c_str(), text_, sizeof text_, RPP_REQUIRE_TTY) == nullptr) {
        if (errno == ENOTTY)
            throw Failure(exit_password, catalogue_text("no password: there is no terminal to ask on"));
        throw Failure(exit_password, catalogue_text("no password: the question was broken off"));
    }
    // An empty line and the end of input look alike.
    if (text_[0] == '\0') throw Failure(exit_password, catalogue_text("no password was entered"));
    if (strlen(text_) > capacity) throw Failure(exit_password, catalogue_text("the password is too long"));
}

void Secret::readFrom(int descriptor) {
    size_t length = 0;
    ssize_t got = 0;
    int problem = 0;
    while (length <= capacity) {
        got = read(descriptor, text_ + length, 1);
        problem = errno;
        if (got < 0 && problem == EINTR) continue;
        if (got <= 0 || text_[length] == '\n') break;
        ++length;
    }
    text_[length] = '\0';
    if (got < 0) {
        throw Failure(exit_usage, catalogue_format("cannot read the password from descriptor %1$d: %2$s", descriptor,
                                                   strerror(problem)));
    }
    close(descriptor);
    // The scripts' programs have a standard input, and no file that is opened later gets its number.
    if (!standard_descriptors_fill())
        throw Failure(exit_usage, catalogue_format("cannot open /dev/null: %s", strerror(errno)));
    if (length > capacity) throw Failure(exit_password, catalogue_text("the password is too long"));
    if (length == 0) throw Failure(exit_password, catalogue_format("no password on descriptor %d", descriptor));
    if (strlen(text_) != length) throw Failure(exit_password, catalogue_text("the password holds a zero byte"));
}
