// MAP, PATH and DRIVE. Drives are links in a directory of the user, made by the mapping program: MAP and PATH run it,
// DRIVE points `driveDir` (qrtscript.h, defined here) at a drive's link, and the two lookups serve the file
// specifications.
#ifndef COMMANDS_DRIVE_H
#define COMMANDS_DRIVE_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/text.h"

// MAP and PATH alike: `line` is what follows the keyword. A mapping that fails sets `syntax_error`.
void map_statement(OwnedText line);

// DRIVE; `name` is the drive without its colon, or an absolute path.
void drive_statement(OwnedText name);

// Runs a command line of the mapping program, identifiers replaced, ";" turned into "," and backslashes into "/". A
// program that does not end with status 0 sets `syntax_error`: false.
bool drive_map(uint32_t handle, const std::string &command);

// Sets `driveDir` to the link of the drive `name`, identifiers replaced and a single letter turned to upper case.
void drive_change(uint32_t handle, const char *name);

// What stands in front of a drive's name in the path of its link: the link directory and a slash. Empty for a name that
// is an absolute path, and without a link directory.
std::string drive_link_folder(std::string_view name);

// The target of the mapping whose local path is `link` in any letter case.
std::optional<std::string> drive_target(const char *link);

struct DriveTarget {
    std::string server, rest;
};
// Cuts a target at its first "/" or else backslash; none without one.
std::optional<DriveTarget> drive_split_target(std::string_view target);

#endif
