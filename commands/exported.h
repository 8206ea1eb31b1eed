// The exported names of this folder that are not in qrtscript.h, for callers of the library. They are defined in
// exports.cpp.
#ifndef COMMANDS_EXPORTED_H
#define COMMANDS_EXPORTED_H

#include <cstdint>

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

// Runs a command line and waits for the program's end: program_run. 1 also when memory ran out.
int execute_command(const char *line);
// The same without waiting. Returns 0.
int execute_command_nowait(const char *line);

// Reads a file: server_file_read. Returns 0 and the text as new heap text; 1, and `*text` null, when there is none.
int qrt_GetFile(uint32_t handle, const char *server, const char *spec, char **text);

// Resolves a volume or directory-map object to its server (49 bytes), its volume's name there (514 bytes) and the
// path of the map (`pathOut`, 514 bytes, empty for a volume). Returns 0 or the client's code.
uint32_t orbispec(const char *name, char *serverOut, char *volumeOut, char *pathOut);

// Frees two heap texts, either of which may be null. Silent; it is the place where FIRE PHASERS would get its sound.
void FirePhasers(char *count, char *second);
}
#pragma GCC visibility pop

#endif
