// Files as the code under test sees them: texts in memory. Nothing is read from or written to the disk.
#ifndef FUZZ_WORLD_FILES_H
#define FUZZ_WORLD_FILES_H

#include <cstdio>
#include <optional>
#include <string_view>

// What a file holds, or nothing when there is none. Set by the target; the text has to stay until the file is closed.
extern std::optional<std::string_view> (*files_content)(const char *path);

// Fails when a file was left open.
void files_check_closed();

// An output stream that costs next to nothing; its first 4096 bytes since the last files_sink_clear() can be read.
FILE *files_sink();
std::string_view files_sink_text();
void files_sink_clear();

#endif
