#include "tools/automount/mount_command.h"

#include <algorithm>

#include "platform/common/places.h"

using Kind = VolumeSource::Kind;

static std::string value_of(const std::vector<std::string> &options, const std::string &name) {
    for (const std::string &option : options)
        if (option.compare(0, name.size() + 1, name + "=") == 0) return option.substr(name.size() + 1);
    return "";
}

static void add(std::string *list, const std::string &option) {
    *list += (list->empty() ? "" : ",") + option;
}

bool mount_needs_password(const SiteMount &mount, bool havePassword) {
    const std::string security = value_of(mount.options, "sec");
    if (mount.source.kind != Kind::smb || volume_options_have(mount.options, "guest")) return false;
    return security.empty() ? havePassword : security.compare(0, 4, "krb5") != 0;
}

static void add_smb_options(const MountOrder &order, std::string *list) {
    const std::vector<std::string> &options = order.mount.options;
    const std::string user = std::to_string(order.user.id);
    if (mount_needs_password(order.mount, !order.smbUser.empty())) {
        if (!order.smbUser.empty()) add(list, "username=" + order.smbUser);
        if (!order.smbDomain.empty() && !volume_options_have(options, "domain")) add(list, "domain=" + order.smbDomain);
    } else if (!volume_options_have(options, "guest")) {
        if (!volume_options_have(options, "sec")) add(list, "sec=krb5");
        add(list, "cruid=" + user);
    }
    add(list, "uid=" + user);
    add(list, "gid=" + std::to_string(order.user.group));
    add(list, "iocharset=utf8");
    if (volume_options_have(options, "multiuser")) return;
    for (const char *own : {"forceuid", "forcegid", "file_mode=0600", "dir_mode=0700"}) add(list, own);
}

// mount.cifs knows no brackets around an address, mount.nfs none without them.
static std::string smb_host(const std::string &host) {
    return host[0] == '[' ? host.substr(1, host.size() - 2) : host;
}

std::vector<std::string> mount_command(const MountOrder &order) {
    const VolumeSource &source = order.mount.source;
    std::string list;
    for (const std::string &option : order.mount.options)
        if (option != "nosuid" && option != "nodev") add(&list, option);
    const std::string helpers = place_mount_helpers;
    if (source.kind == Kind::smb) {
        add_smb_options(order, &list);
        add(&list, "nosuid,nodev");
        return {helpers + "/mount.cifs", "//" + smb_host(source.host) + "/" + source.path, order.folder, "-o", list};
    }
    add(&list, "retry=0"); // one attempt: who waits is told
    add(&list, "nosuid,nodev");
    return {helpers + "/mount.nfs", source.host + ":" + source.path, order.folder, "-o", list};
}
