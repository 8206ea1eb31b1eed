// Carries out the items of one command line: the drives, the search path, and what is said about them.
#ifndef TOOLS_MAP_MAP_RUN_H
#define TOOLS_MAP_MAP_RUN_H

#include <optional>
#include <string>
#include <vector>

#include "tools/map/command.h"
#include "tools/map/link_directory.h"
#include "tools/map/location.h"

// Says of every item what would be refused, and changes nothing; the user needs no place for links. A target on another
// drive is not looked at: which drives there are by then, only the login tells. Returns the exit status, 0 or 1.
int map_check(const std::vector<Command> &commands);

class MapRun {
  public:
    // Carries out every item, also after one that could not be: its reason goes to standard error. Returns the exit
    // status, 0 or 1.
    int run(const std::vector<Command> &commands);

    // Prints for each drive whether it is mounted, and otherwise why not. Returns the exit status.
    int status();

  private:
    void carryOut(const Command &command);
    void list();
    void show(const Drive &drive);
    void mapTo(const Drive &drive, const std::string &target);
    void mapToNext(const std::string &target);
    void changePath(const Command &command);
    void remove(const Drive &drive);

    std::optional<Drive> nextFree() const;
    Location resolved(const Drive &drive, const std::string &target) const;
    void writeLink(const Drive &drive, const Location &location);
    // The search path is the links S1, S2 and so on, without gaps.
    std::vector<Location> searchPath() const;
    void writePath(const std::vector<Location> &path);
    void confirm(const Drive &drive, const Location &location) const;

    LinkDirectory links_;
    bool display_ = true;
    bool errors_ = true;
    bool failed_ = false;
};

#endif
