// The drives that the scripts would have mapped: a table in the place of the user's link directory. The mapping
// program's own parser, resolver and rules for the search path work on it.
#ifndef TOOLS_QRTSCRIPT_PLAN_DRIVES_H
#define TOOLS_QRTSCRIPT_PLAN_DRIVES_H

#include <optional>
#include <string>
#include <vector>

// Is this what a MAP or PATH statement, or a person, calls the mapping program by?
bool drives_is_map(const std::vector<std::string> &words);

// What the mapping program would do with the line, recorded with what it would print. Returns its exit status.
int drives_map(const std::vector<std::string> &words);

// The target of the drive whose link has this path, "SRV1/USERS:home/jdoe".
std::optional<std::string> drives_target(const std::string &link);

// A path that goes through the link of a mapped drive, as it would be without the link; any other one as it is.
std::string drives_path(const std::string &path);

// In act mode: the primary connection of the session, to which each run of the mapping program is another session.
void drives_note_primary(unsigned connection);

#endif
