#include "tools/map/map_run.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <optional>

#include "platform/catalogue.h"
#include "platform/terminal_text.h"
#include "tools/map/refusal.h"
#include "tools/map/resolve.h"
#include "tools/map/status.h"

static Drive search_drive(size_t index) {
    Drive drive;
    drive.place = static_cast<int>(index) + 1;
    return drive;
}

static Drive letter_drive(char letter) {
    Drive drive;
    drive.letter = letter;
    return drive;
}

static bool same_location(const Location &a, const Location &b) {
    return a.text() == b.text();
}

int MapRun::run(const std::vector<Command> &commands) {
    for (const Command &command : commands) {
        try {
            carryOut(command);
        } catch (const Refusal &refusal) {
            failed_ = true;
            fflush(stdout); // what was done before comes before it, where both go to the same place
            if (errors_) fprintf(stderr, catalogue_text("map: %s\n"), refusal.what());
        }
    }
    return failed_ ? 1 : 0;
}

void MapRun::carryOut(const Command &command) {
    switch (command.action) {
        case Command::Action::list:
            list();
            break;
        case Command::Action::show:
            show(command.drive);
            break;
        case Command::Action::next:
            mapToNext(command.target);
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

static void print_row(const Drive &drive, const Location &location) {
    printf("%-4s %s\n", (drive.name() + ":").c_str(), terminal_text(location.text()).c_str());
}

static void print_mapping(const Drive &drive, const Location &location) {
    printf(catalogue_text("Drive %1$s: = %2$s\n"), drive.name().c_str(), terminal_text(location.text()).c_str());
}

void MapRun::confirm(const Drive &drive, const Location &location) const {
    if (display_) print_mapping(drive, location);
}

int MapRun::status() {
    std::vector<Drive> drives;
    std::vector<Location> locations;
    const auto add = [&](const Drive &drive) {
        const std::optional<Location> location = links_.read(drive.name());
        if (!location) return;
        drives.push_back(drive);
        locations.push_back(*location);
    };
    for (char letter = 'A'; letter <= 'Z'; ++letter) add(letter_drive(letter));
    for (size_t i = 0; i < Drive::search_drives; ++i) add(search_drive(i));
    const std::vector<std::string> statuses = drive_statuses(locations);
    for (size_t i = 0; i < drives.size(); ++i)
        printf("%-4s %s  %s\n", (drives[i].name() + ":").c_str(), terminal_text(locations[i].text()).c_str(),
               statuses[i].c_str());
    if (drives.empty()) fputs(catalogue_text("No drives are mapped.\n"), stdout);
    return 0;
}

void MapRun::list() {
    bool any = false;
    for (char letter = 'A'; letter <= 'Z'; ++letter) {
        const Drive drive = letter_drive(letter);
        std::optional<Location> location = links_.read(drive.name());
        if (!location) continue;
        if (!any) fputs(catalogue_text("Drives\n"), stdout);
        any = true;
        print_row(drive, *location);
    }
    if (!any) fputs(catalogue_text("No drives are mapped.\n"), stdout);
    std::vector<Location> path = searchPath();
    if (!path.empty()) fputs(catalogue_text("Search path\n"), stdout);
    for (size_t i = 0; i < path.size(); ++i) print_row(search_drive(i), path[i]);
}

void MapRun::show(const Drive &drive) {
    std::optional<Location> location = links_.read(drive.name());
    if (!location) throw Refusal(catalogue_format("drive %s: is not mapped", drive.name().c_str()));
    print_mapping(drive, *location);
}

// The location of `target`; a refusal names the drive and the target.
static Location location_for(const Drive &drive, const std::string &target, const LinkDirectory *links) {
    try {
        return resolve_target(target, links);
    } catch (const Refusal &refusal) {
        throw Refusal(catalogue_format("cannot map drive %1$s: to \"%2$s\": %3$s", drive.name().c_str(), target.c_str(),
                                       refusal.what()));
    }
}

static bool is_on_drive(const std::string &target) {
    return drive_of(std::string_view(target).substr(0, target.find(':'))).has_value();
}

static void check_target(const Command &command) {
    if (command.action == Command::Action::next)
        resolve_target(command.target, nullptr);
    else
        location_for(command.drive, command.target, nullptr);
}

int map_check(const std::vector<Command> &commands) {
    int status = 0;
    for (const Command &command : commands) {
        const bool hasTarget = command.action == Command::Action::assign || command.action == Command::Action::insert ||
                               command.action == Command::Action::next;
        if (!hasTarget || is_on_drive(command.target)) continue;
        try {
            check_target(command);
        } catch (const Refusal &refusal) {
            status = 1;
            fprintf(stderr, catalogue_text("map: %s\n"), refusal.what());
        }
    }
    return status;
}

Location MapRun::resolved(const Drive &drive, const std::string &target) const {
    return location_for(drive, target, &links_);
}

void MapRun::mapTo(const Drive &drive, const std::string &target) {
    Location location = resolved(drive, target);
    writeLink(drive, location);
    confirm(drive, location);
}

// A letter that leads there already is the next one: a script asks again at each login.
void MapRun::mapToNext(const std::string &target) {
    std::optional<Drive> drive = nextFree();
    Location location = drive ? resolved(*drive, target) : resolve_target(target, &links_);
    Drive known;
    for (known.letter = Drive::first_local; known.letter <= 'Z'; ++known.letter) {
        std::optional<Location> now = links_.read(known.name());
        if (now && same_location(*now, location)) return confirm(known, location);
    }
    if (!drive) throw Refusal(catalogue_text("no free drive letter"));
    writeLink(*drive, location);
    confirm(*drive, location);
}

void MapRun::writeLink(const Drive &drive, const Location &location) {
    try {
        links_.write(drive.name(), location);
    } catch (const Refusal &refusal) {
        throw Refusal(catalogue_format("cannot map drive %1$s: %2$s", drive.name().c_str(), refusal.what()));
    }
}

std::optional<Drive> MapRun::nextFree() const {
    Drive drive;
    for (drive.letter = Drive::first_local; drive.letter <= 'Z'; ++drive.letter)
        if (links_.isFree(drive.name())) return drive;
    return std::nullopt;
}

void MapRun::remove(const Drive &drive) {
    try {
        links_.remove(drive.name());
    } catch (const Refusal &refusal) {
        throw Refusal(catalogue_format("cannot unmap drive %1$s: %2$s", drive.name().c_str(), refusal.what()));
    }
    // A gap would end the search path at this place.
    if (drive.isSearch()) writePath(searchPath());
    if (display_) printf(catalogue_text("Drive %s: is no longer mapped.\n"), drive.name().c_str());
}

std::vector<Location> MapRun::searchPath() const {
    std::vector<Location> path;
    for (size_t i = 0; i < Drive::search_drives; ++i) {
        std::optional<Location> location = links_.read(search_drive(i).name());
        if (location) path.push_back(*location);
    }
    return path;
}

// Links from the last place to the first, so that a failure on the way loses no place.
void MapRun::writePath(const std::vector<Location> &path) {
    for (size_t i = path.size(); i-- > 0;) {
        std::optional<Location> now = links_.read(search_drive(i).name());
        if (!now || now->text() != path[i].text()) writeLink(search_drive(i), path[i]);
    }
    for (size_t i = path.size(); i < Drive::search_drives; ++i)
        if (links_.read(search_drive(i).name())) links_.remove(search_drive(i).name());
}

// Replaces or inserts a place; a place beyond the end is the one after the last. What is in the search path already
// moves: the links outlive a login, and a script that inserts a place does so at each login.
void MapRun::changePath(const Command &command) {
    Drive drive = command.drive;
    Location location = resolved(drive, command.target);
    std::vector<Location> path = searchPath();
    size_t index = std::min(static_cast<size_t>(drive.place) - 1, path.size());
    bool replaces = command.action == Command::Action::assign && index < path.size();
    if (replaces) path.erase(path.begin() + static_cast<std::ptrdiff_t>(index));
    auto known =
        std::find_if(path.begin(), path.end(), [&](const Location &at) { return same_location(at, location); });
    if (known != path.end()) path.erase(known);
    if (path.size() >= Drive::search_drives) throw Refusal(catalogue_text("the search path is full"));
    index = std::min(index, path.size());
    path.insert(path.begin() + static_cast<std::ptrdiff_t>(index), location);
    writePath(path);
    confirm(search_drive(index), location);
}
