#include "tools/own_folder.h"

#include <unistd.h>
#include <climits>

#include "platform/catalogue.h"

std::string own_folder() {
    char path[PATH_MAX] = {};
    ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    if (length <= 0) return "";
    std::string folder(path, static_cast<size_t>(length));
    return folder.erase(folder.rfind('/'));
}

void own_catalogues_bind() {
    // Found from the binary and not from a path of the build, so that the prefix can be chosen when installing.
    const std::string catalogues = own_folder() + "/" LOCALE_FROM_PROGRAMS;
    if (access(catalogues.c_str(), X_OK) == 0) bindtextdomain(catalogue_domain, catalogues.c_str());
}
