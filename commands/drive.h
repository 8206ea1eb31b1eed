// MAP, PATH and DRIVE. Drives are links in a directory of the user, made by the mapping program: MAP and PATH run it,
// DRIVE points `driveDir` (qrtscript.h, defined here) at a drive's link, and the two lookups serve the file
// specifications.
#ifndef COMMANDS_DRIVE_H
#define COMMANDS_DRIVE_H

#include <cstdint>

#include "base/text.h"

// MAP and PATH alike: `line` is what follows the keyword. A mapping that fails sets `syntax_error`.
void map_statement(OwnedText line);

// DRIVE; `name` is the drive without its colon, or an absolute path.
void drive_statement(OwnedText name);

#pragma GCC visibility push(default)
extern "C" {

// Runs `word` with what follows it, identifiers replaced, ";" turned into "," and backslashes into "/". `a`, `b` and
// `c` may be null; `b` is passed twice. Returns 0 when the program ended with status 0; otherwise 1, and `syntax_error`
// is set.
int qrt_map_command(uint32_t handle, const char *word, const char *a, const char *b, const char *c);

// Sets `driveDir` to the link of the drive `name`, identifiers replaced and a single letter turned to upper case.
// Returns 1, or 0 when memory ran out.
int qrt_ChangeWorkingDir(uint32_t handle, const char *name);

// `*link` is the path of a drive's link, `*second` the link directory followed by `extra` (may be null); for an
// absolute `name`, or without a link directory, they are `name` and `extra` themselves. Both are new heap text. Returns
// 0.
int util_map_location(const char *name, const char *extra, char **link, char **second);

// The mapping whose local path is `linkPath` in any letter case, cut at its first "/" or else backslash into `*server`
// and `*rest`, both new heap text. Returns 0, or 1 without such a mapping. A mapping without a separator is 0 too and
// leaves both alone.
int util_map_existing(const char *linkPath, char **server, char **rest);
}
#pragma GCC visibility pop

#endif
