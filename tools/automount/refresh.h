// Writes the site's file (site.h) from client.toml and from the volume objects of all trees.
#ifndef TOOLS_AUTOMOUNT_REFRESH_H
#define TOOLS_AUTOMOUNT_REFRESH_H

#include "tools/automount/site.h"

// Reads the configuration and asks the directories, with the access that the configuration gives a process without a
// login. What is wrong with one tree or volume is said on standard error and does not hide the others; of a tree that
// cannot be asked the volumes of the file before stay. Returns whether all was well. Throws AutomountError for a
// configuration that cannot be used.
bool site_refresh();

// The site's file as it is, written anew before when it is older than the configuration or than its own `refresh`.
// A directory that does not answer costs as much as `site_refresh_limit` seconds; the file then has the configuration's
// own part, and of the trees what it had.
MountSite site_current();

// The same, also when the file is current but some seconds old: what is wanted is not in it.
MountSite site_current_for(bool (*has)(const MountSite &site, const void *wanted), const void *wanted);

inline constexpr long site_refresh_limit = 10;

#endif
