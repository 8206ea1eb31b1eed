// The volumes that the automounter may mount: a file that root wrote from the configuration and the directories
// (refresh.h), and that is all that is read when a drive is used.
//
//     file   ::= "brasca-site 1 " seconds-since-1970 LF { line }
//     line   ::= "host" TAB host-or-domain LF                 \\host\share may be mounted without a volume's object
//              | "smb_options" TAB options LF                 how
//              | "time_limit" TAB seconds LF
//              | "refresh" TAB seconds LF
//              | "credentials" LF
//              | "volume" TAB tree TAB server TAB volume TAB source TAB options LF      tree: empty for client.toml's
//
// No field has a control character.
#ifndef TOOLS_AUTOMOUNT_SITE_H
#define TOOLS_AUTOMOUNT_SITE_H

#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/common/volume_source.h"

struct SiteVolume {
    std::string tree, server, name, source, options;
};

struct MountSite {
    time_t written = 0;
    std::vector<std::string> hosts;
    std::string smbOptions;
    long timeLimit = 15; // seconds for one mount
    long refresh = 300;  // seconds for which the file is current
    bool credentials = false;
    std::vector<SiteVolume> volumes; // the configuration's first: the first one of a name counts
};

struct SiteMount {
    VolumeSource source;
    std::vector<std::string> options;
};

std::string site_text(const MountSite &site);

// Nothing for a text that is not such a file. What a line says is checked when it is used.
std::optional<MountSite> site_parse(std::string_view text);

// Whether a server of this name, in any letter case, has a volume that may be mounted.
bool site_has_server(const MountSite &site, std::string_view server);

// What the volume is mounted from. Nothing when it has no source; with the reason in `*why`, otherwise empty, when the
// source or the options are not valid.
std::optional<SiteMount> site_find(const MountSite &site, std::string_view server, std::string_view volume,
                                   std::string *why);

#endif
