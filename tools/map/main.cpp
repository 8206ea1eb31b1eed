// map: lists, makes and removes drive mappings. A mapping is a symbolic link, named by its drive, to a folder below the
// mount point of the network file system. Login scripts run this program for their MAP and PATH statements.

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "tools/map/command.h"
#include "tools/map/link_directory.h"
#include "tools/map/refusal.h"
#include "tools/map/resolve.h"

namespace {

const char help_text[] =
    "Usage: map [ITEM[, ITEM]...]\n"
    "Lists, makes and removes drive mappings.\n"
    "\n"
    "  map                        list the drives and the search path\n"
    "  map H:                     show one drive\n"
    "  map H:=SRV1/USERS:home     map a drive; also map ROOT H:=...\n"
    "  map NEXT SRV1/SYS:         map the next free drive from F: on\n"
    "  map S1:=SRV1/SYS:public    set a place of the search path\n"
    "  map INS S1:=SRV1/SYS:apps  insert a place before it\n"
    "  map DEL H:                 remove a mapping\n"
    "  map DISPLAY OFF, ITEM...   no confirmations; ERRORS OFF: no error messages\n"
    "\n"
    "A target is SERVER/VOLUME:path, VOLUME:path on the default server, a volume's or a\n"
    "directory map's object with an optional :path, or DRIVE:path. *1: is the first\n"
    "drive of the network, F:. DISPLAY and ERRORS hold for the rest of the line.\n"
    "\n"
    "Exit status: 0, or 1 when anything could not be done.\n";

class MapRun {
  public:
    // Returns the exit status.
    int run(const std::vector<Command> &commands) {
        for (const Command &command : commands) {
            try {
                carryOut(command);
            } catch (const Refusal &refusal) {
                failed_ = true;
                if (errors_) fprintf(stderr, "map: %s.\n", refusal.what());
            }
        }
        return failed_ ? 1 : 0;
    }

  private:
    void carryOut(const Command &command) {
        switch (command.action) {
            case Command::Action::list:
                list();
                break;
            case Command::Action::show:
                show(command.drive);
                break;
            case Command::Action::next:
                mapTo(nextFree(), command.target);
                break;
            case Command::Action::remove:
                remove(command.drive);
                break;
            case Command::Action::display:
                display_ = command.on;
                break;
            case Command::Action::errors:
                errors_ = command.on;
                break;
            case Command::Action::assign:
                if (command.drive.isSearch())
                    changePath(command);
                else
                    mapTo(command.drive, command.target);
                break;
            case Command::Action::insert:
                changePath(command);
                break;
        }
    }

    void printRow(const Drive &drive, const Location &location) {
        printf("%-4s %s\n", (drive.name() + ":").c_str(), location.text().c_str());
    }

    void confirm(const Drive &drive, const Location &location) {
        if (display_) printf("Drive %s: = %s\n", drive.name().c_str(), location.text().c_str());
    }

    void list() {
        bool any = false;
        for (char letter = 'A'; letter <= 'Z'; ++letter) {
            Drive drive;
            drive.letter = letter;
            std::optional<Location> location = links_.read(drive.name());
            if (!location) continue;
            if (!any) printf("Drives\n");
            any = true;
            printRow(drive, *location);
        }
        if (!any) printf("No drives are mapped.\n");
        std::vector<Location> path = searchPath();
        if (!path.empty()) printf("Search path\n");
        for (size_t i = 0; i < path.size(); ++i) printRow(searchDrive(i), path[i]);
    }

    void show(const Drive &drive) {
        std::optional<Location> location = links_.read(drive.name());
        if (!location) throw Refusal("Drive " + drive.name() + ": is not mapped");
        printf("Drive %s: = %s\n", drive.name().c_str(), location->text().c_str());
    }

    // The location of `target`; a refusal names the drive and the target.
    Location resolved(const Drive &drive, const std::string &target) {
        try {
            return resolve_target(target, links_);
        } catch (const Refusal &refusal) {
            throw Refusal("Drive " + drive.name() + ": cannot be mapped to \"" + target + "\": " + refusal.what());
        }
    }

    void mapTo(const Drive &drive, const std::string &target) {
        Location location = resolved(drive, target);
        writeLink(drive, location);
        confirm(drive, location);
    }

    void writeLink(const Drive &drive, const Location &location) {
        try {
            links_.write(drive.name(), location);
        } catch (const Refusal &refusal) {
            throw Refusal("Drive " + drive.name() + ": cannot be mapped: " + refusal.what());
        }
    }

    Drive nextFree() {
        Drive drive;
        for (drive.letter = Drive::first_local; drive.letter <= 'Z'; ++drive.letter)
            if (links_.isFree(drive.name())) return drive;
        throw Refusal("No drive letter is free");
    }

    void remove(const Drive &drive) {
        const std::string name = "Drive " + drive.name() + ":";
        try {
            links_.remove(drive.name());
        } catch (const Refusal &refusal) {
            throw Refusal(name + " cannot be removed: " + refusal.what());
        }
        // A gap would end the search path at this place.
        if (drive.isSearch()) writePath(searchPath());
        if (display_) printf("%s is no longer mapped.\n", name.c_str());
    }

    static Drive searchDrive(size_t index) {
        Drive drive;
        drive.place = static_cast<int>(index) + 1;
        return drive;
    }

    std::vector<Location> searchPath() {
        std::vector<Location> path;
        for (size_t i = 0; i < Drive::search_drives; ++i) {
            std::optional<Location> location = links_.read(searchDrive(i).name());
            if (location) path.push_back(*location);
        }
        return path;
    }

    // Links from the last place to the first, so that a failure on the way loses no place.
    void writePath(const std::vector<Location> &path) {
        for (size_t i = path.size(); i-- > 0;) {
            std::optional<Location> now = links_.read(searchDrive(i).name());
            if (!now || now->text() != path[i].text()) writeLink(searchDrive(i), path[i]);
        }
        for (size_t i = path.size(); i < Drive::search_drives; ++i)
            if (links_.read(searchDrive(i).name())) links_.remove(searchDrive(i).name());
    }

    // Replaces or inserts a place; a place beyond the end is the one after the last.
    void changePath(const Command &command) {
        Drive drive = command.drive;
        Location location = resolved(drive, command.target);
        std::vector<Location> path = searchPath();
        size_t index = std::min(static_cast<size_t>(drive.place) - 1, path.size());
        bool inserts = command.action == Command::Action::insert || index == path.size();
        if (inserts && path.size() >= Drive::search_drives) throw Refusal("The search path has no place left");
        if (inserts)
            path.insert(path.begin() + static_cast<std::ptrdiff_t>(index), location);
        else
            path[index] = location;
        writePath(path);
        confirm(searchDrive(index), location);
    }

    LinkDirectory links_;
    bool display_ = true;
    bool errors_ = true;
    bool failed_ = false;
};

int map_main(int argc, char **argv) {
    std::string line;
    for (int i = 1; i < argc; ++i) line += (i > 1 ? " " : "") + std::string(argv[i]);
    if (line == "--help") {
        fputs(help_text, stdout);
        return 0;
    }
    std::vector<Command> commands = command_parse(line);
    return MapRun().run(commands);
}

} // namespace

int main(int argc, char **argv) try { return map_main(argc, argv); } catch (const std::exception &problem) {
    fprintf(stderr, "map: %s.\n", problem.what());
    return 1;
}
