#include "tools/map/link_directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/catalogue.h"
#include "platform/common/link_directory.h"
#include "platform/common/own_directory.h"
#include "tools/linked_volumes.h"
#include "tools/map/refusal.h"

static std::string configured_directory() {
    const LinkDirectoryPlace place = link_directory_place();
    if (!place.path || place.path->empty())
        throw Refusal(catalogue_text("no directory for the drive links: neither map.conf nor HOME names one"));
    std::string path = *place.path;
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    if (path[0] != '/')
        throw Refusal(catalogue_format("the directory for the drive links is not an absolute path: %s", path.c_str()));
    return path;
}

[[noreturn]] static void refuse(const std::string &what) {
    throw Refusal(what + ": " + strerror(errno));
}

static std::string random_name() {
    return ".map-" + std::to_string(arc4random()) + "-" + std::to_string(arc4random());
}

LinkDirectory::LinkDirectory() : path_(configured_directory()) {
    DirectoryFault fault = DirectoryFault::none;
    descriptor_ = own_directory_open(path_, &fault);
    if (descriptor_ == -1 && errno == ENOENT && mkdir(path_.c_str(), S_IRWXU) == 0)
        descriptor_ = own_directory_open(path_, &fault);
    if (descriptor_ != -1) return;
    if (fault != DirectoryFault::notOpened) throw Refusal(own_directory_refusal(path_, fault));
    refuse(catalogue_format("cannot use %s as the directory for the drive links", path_.c_str()));
}

LinkDirectory::~LinkDirectory() {
    close(descriptor_);
}

std::optional<Location> LinkDirectory::read(const std::string &name) const {
    const std::optional<OwnLink> link = own_link_read(descriptor_, name.c_str());
    if (!link || link->foreign) return std::nullopt;
    // What leads below the mount point is a drive whatever the configuration says.
    if (std::optional<Location> location = location_of_link(link->target)) return location;
    return location_of_link(link->target, linked_volumes_of_client());
}

bool LinkDirectory::isFree(const std::string &name) const {
    struct stat status;
    return fstatat(descriptor_, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 && errno == ENOENT;
}

void LinkDirectory::refuseForeign(const std::string &name) const {
    const std::optional<OwnLink> link = own_link_read(descriptor_, name.c_str());
    if (link && link->foreign)
        throw Refusal(catalogue_format("the link %1$s/%2$s was made by another user: remove it with rm", path_.c_str(),
                                       name.c_str()));
    if (!isFree(name) && !read(name))
        throw Refusal(
            catalogue_format("%1$s/%2$s is not a drive link and was left unchanged", path_.c_str(), name.c_str()));
}

void LinkDirectory::write(const std::string &name, const Location &location) {
    refuseForeign(name);
    const std::string target = location_link_target(location, linked_volumes_of_client());
    const std::string what = catalogue_format("cannot create link %1$s/%2$s", path_.c_str(), name.c_str());
    // A new link is made under its own name, where the call itself refuses what has come there in between; only a
    // drive's own link is replaced, by renaming.
    if (symlinkat(target.c_str(), descriptor_, name.c_str()) == 0) return;
    // Whatever else kept it from being made keeps the temporary one, too.
    const std::string temporary = random_name();
    if (symlinkat(target.c_str(), descriptor_, temporary.c_str()) != 0) refuse(what);
    const bool replaced = replace(name, temporary);
    const std::string reason = strerror(errno);
    // What is there now is the old link, or the new one that did not get its name; anything else is kept.
    if (read(temporary)) unlinkat(descriptor_, temporary.c_str(), 0);
    if (replaced) return;
    refuseForeign(name);
    throw Refusal(what + ": " + reason);
}

// The two change places, and what was replaced is looked at afterwards: what another process has put there since the
// last look goes back to its place.
bool LinkDirectory::replace(const std::string &name, const std::string &temporary) const {
    const auto rename = [&](unsigned flags) {
        return renameat2(descriptor_, temporary.c_str(), descriptor_, name.c_str(), flags) == 0;
    };
    if (!rename(RENAME_EXCHANGE)) {
        if (errno == ENOENT) return rename(RENAME_NOREPLACE);
        // Network file systems often cannot exchange names.
        const bool cannot = errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
        return cannot && read(name) && rename(0);
    }
    if (read(temporary)) return true;
    rename(RENAME_EXCHANGE);
    errno = EEXIST;
    return false;
}

void LinkDirectory::remove(const std::string &name) {
    refuseForeign(name);
    if (isFree(name)) throw Refusal(catalogue_text("not mapped"));
    if (unlinkat(descriptor_, name.c_str(), 0) != 0)
        refuse(catalogue_format("cannot remove link %1$s/%2$s", path_.c_str(), name.c_str()));
}
