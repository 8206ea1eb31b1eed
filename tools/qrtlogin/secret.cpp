#include "tools/qrtlogin/secret.h"

#include <fcntl.h>
#include <readpassphrase.h>
#include <sys/mman.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <new>

#include "platform/catalogue.h"
#include "platform/terminal_text.h"
#include "tools/qrtlogin/failure.h"

namespace {

Failure unreadable(int descriptor, int problem) {
    return Failure(exit_usage, catalogue_format("cannot read the password from file descriptor %1$d: %2$s", descriptor,
                                                strerror(problem)));
}

char *own_pages(size_t size) {
    void *pages = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) throw std::bad_alloc();
    // What the kernel or the limit does not allow is done without.
    mlock(pages, size);
    madvise(pages, size, MADV_DONTDUMP);
    madvise(pages, size, MADV_WIPEONFORK);
    return static_cast<char *>(pages);
}

} // namespace

Secret::Secret() : text_(own_pages(size)) {}

Secret::~Secret() {
    wipe();
    munmap(text_, size);
}

void Secret::wipe() {
    explicit_bzero(text_, size);
}

void Secret::ask(const std::string &question) {
    if (readpassphrase(terminal_text(question).c_str(), text_, size, RPP_REQUIRE_TTY) == nullptr) {
        if (errno == ENOTTY) throw Failure(exit_password, catalogue_text("cannot read the password: no terminal"));
        throw Failure(exit_password, catalogue_text("cannot read the password: cancelled"));
    }
    // An empty line and the end of input look alike.
    if (text_[0] == '\0') throw Failure(exit_password, catalogue_text("no password was entered"));
    if (strlen(text_) > capacity) throw Failure(exit_password, catalogue_text("the password is too long"));
}

void Secret::requireOpen(int descriptor) {
    if (fcntl(descriptor, F_GETFD) < 0) throw unreadable(descriptor, errno);
}

void Secret::readFrom(int descriptor) {
    size_t length = 0;
    ssize_t got = 0;
    while (length <= capacity) {
        got = TEMP_FAILURE_RETRY(read(descriptor, text_ + length, 1));
        if (got <= 0 || text_[length] == '\n') break;
        ++length;
    }
    text_[length] = '\0';
    if (got < 0) throw unreadable(descriptor, errno);
    close(descriptor);
    // The scripts' programs have a standard input, and no file that is opened later gets its number.
    if (descriptor <= STDERR_FILENO && open("/dev/null", O_RDWR) != descriptor)
        throw Failure(exit_usage, catalogue_format("cannot open /dev/null: %s", strerror(errno)));
    if (length > capacity) throw Failure(exit_password, catalogue_text("the password is too long"));
    if (length == 0) throw Failure(exit_password, catalogue_format("no password on file descriptor %d", descriptor));
    if (strlen(text_) != length) throw Failure(exit_password, catalogue_text("the password contains a NUL byte"));
}
