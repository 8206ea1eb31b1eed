#include "tools/automount/bind_mount.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/common/opened.h"
#include "platform/common/volume_source.h"

bool bind_mount(const std::string &source, const std::string &target, const std::vector<std::string> &options) {
    open_how how = {};
    how.flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
    how.resolve = RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    const Opened folder(static_cast<int>(syscall(SYS_openat2, AT_FDCWD, source.c_str(), &how, sizeof how)));
    if (!folder.isOpen()) return false;
    const Opened tree(open_tree(folder.number(), "", OPEN_TREE_CLONE | OPEN_TREE_CLOEXEC | AT_EMPTY_PATH));
    if (!tree.isOpen()) return false;
    mount_attr attributes = {};
    attributes.attr_set = MOUNT_ATTR_NOSUID | MOUNT_ATTR_NODEV;
    if (volume_options_have(options, "ro")) attributes.attr_set |= MOUNT_ATTR_RDONLY;
    if (volume_options_have(options, "noexec")) attributes.attr_set |= MOUNT_ATTR_NOEXEC;
    return mount_setattr(tree.number(), "", AT_EMPTY_PATH, &attributes, sizeof attributes) == 0 &&
           move_mount(tree.number(), "", AT_FDCWD, target.c_str(), MOVE_MOUNT_F_EMPTY_PATH) == 0;
}
