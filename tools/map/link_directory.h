// The directory that holds one symbolic link for each drive, all made by the user himself. Every access goes through
// the directory's descriptor and through the link's own name, never through what the link points to, so that nothing
// that somebody plants there, or in the directory's place, can lead a change elsewhere.
#ifndef TOOLS_MAP_LINK_DIRECTORY_H
#define TOOLS_MAP_LINK_DIRECTORY_H

#include <optional>
#include <string>

#include "tools/map/location.h"

class LinkDirectory {
  public:
    // Finds the directory: map.conf's, else the home directory; it is made if only its last component is missing.
    // Throws Refusal: there is none, it cannot be opened, its last component is itself a link, it is another user's or
    // others can write in it (platform/common/own_directory.h).
    LinkDirectory();
    ~LinkDirectory();
    LinkDirectory(const LinkDirectory &) = delete;
    LinkDirectory &operator=(const LinkDirectory &) = delete;

    // Where the link `name` leads; nothing when there is no such link, another user made it, or what stands there is
    // not a drive's.
    std::optional<Location> read(const std::string &name) const;

    // True when nothing stands under the name, a drive's link or anything else.
    bool isFree(const std::string &name) const;

    // Makes or replaces the link in one step. Throws Refusal, also when something stands there that is not a drive's
    // link, or comes there meanwhile.
    void write(const std::string &name, const Location &location);

    // Throws Refusal, also when no drive's link stands there.
    void remove(const std::string &name);

  private:
    void refuseForeign(const std::string &name) const;
    // Gives the link `temporary` the name of another link. False: errno says why, `name` is as it was.
    bool replace(const std::string &name, const std::string &temporary) const;
    std::string path_;
    int descriptor_ = -1;
};

#endif
