#include "platform/client/core/file_access.h"

#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "platform/catalogue.h"
#include "platform/client/core/waiting.h"

std::string file_trouble_text(const FileTrouble &trouble) {
    const char *const why = strerror(trouble.error);
    const std::string place = trouble.path.empty() ? "" : trouble.path + ": ";
    switch (trouble.kind) {
        case FileTrouble::Kind::unopened:
            return trouble.path.empty() ? catalogue_format("cannot open the file: %s", why)
                                        : catalogue_format("cannot open %1$s: %2$s", trouble.path.c_str(), why);
        case FileTrouble::Kind::unread:
            return place + catalogue_format("cannot read the file: %s", why);
        case FileTrouble::Kind::unmade:
            return catalogue_format("cannot make %1$s: %2$s", trouble.path.c_str(), why);
        case FileTrouble::Kind::refused:
            break;
    }
    return place + catalogue_text(trouble.message);
}

std::string file_read(const Descriptor &file, size_t limit, const std::string &path, FileSteps *steps) {
    struct stat status = {};
    if (fstat(file.number, &status) != 0) throw FileTrouble{FileTrouble::Kind::unopened, path, errno};
    if (!S_ISREG(status.st_mode))
        throw FileTrouble{FileTrouble::Kind::refused, path, 0, catalogue_mark("not a regular file")};
    if (static_cast<size_t>(status.st_size) > limit)
        throw FileTrouble{FileTrouble::Kind::refused, path, 0, catalogue_mark("the file is too large")};
    std::string text(static_cast<size_t>(status.st_size), '\0');
    if (!descriptor_read(file, &text, steps)) throw FileTrouble{FileTrouble::Kind::unread, path, errno};
    return text;
}

// Until it is done, or nothing more has come of it for as long as the limit.
static bool done_in_time(const Bounded &work, double limit, const FileSteps &steps) {
    size_t before = 0;
    do {
        before = steps;
        if (ldap_waiting_done(work, LdapClock::now() + ldap_seconds(limit))) return true;
    } while (steps != before);
    return false;
}

void FileAccess::await(const std::string &path, const FileSteps &steps, const std::function<void()> &work) {
    const FileTrouble timeout = {FileTrouble::Kind::unopened, path, ETIMEDOUT};
    if (silent_ != nullptr && !silent_->doneBy(LdapClock::now())) throw timeout;
    silent_ = nullptr;
    if (limit_ <= 0) return work();
    std::shared_ptr<const Bounded> running;
    try {
        running = std::make_shared<const Bounded>(work);
    } catch (const std::system_error &) {
        return work();
    }
    if (done_in_time(*running, limit_, steps)) return;
    silent_ = running;
    throw timeout;
}
