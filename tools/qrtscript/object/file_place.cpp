#include "tools/qrtscript/object/file_place.h"

#include <fcntl.h>
#include <sys/stat.h>

static Opened open_folder(const Opened &at, const char *name) {
    return Opened(openat(at.number(), name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

Opened folder_of_file(const Opened &top, const std::string &file, std::optional<mode_t> rights) {
    Opened at = open_folder(top, ".");
    size_t start = 0;
    for (size_t end = file.find('/'); at.isOpen() && end != file.npos; end = file.find('/', start)) {
        const std::string name = file.substr(start, end - start);
        if (rights && mkdirat(at.number(), name.c_str(), *rights) != 0 && errno != EEXIST) return Opened(-1);
        at = open_folder(at, name.c_str());
        start = end + 1;
    }
    return at;
}

std::string name_of_file(const std::string &file) {
    return file.substr(file.rfind('/') + 1); // the whole without any
}
