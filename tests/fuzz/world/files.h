// Files as the code under test sees them: texts in memory. Nothing is read from or written to the disk.
#ifndef FUZZ_WORLD_FILES_H
#define FUZZ_WORLD_FILES_H

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

// What a file holds, or nothing when there is none. Set by the target; the text has to stay until the file is closed.
extern std::optional<std::string_view> (*files_content)(const char *path);

// Folders: where this is set, every path that is opened as one is a folder of the user's own.
extern bool files_have_folders;
// Where a symbolic link leads, or nothing when there is none. Null: there are no links.
extern std::optional<std::string_view> (*files_link)(const char *path);
// What has been written, when it has got its name. Null: nothing can be written.
extern void (*files_written)(const char *path, std::string_view text);
// Removes what is there; false when there is nothing. Null: nothing can be removed.
extern bool (*files_remove)(const char *path);

// Fails when a file was left open.
void files_check_closed();

// An output stream that costs next to nothing; its first 4096 bytes since the last files_sink_clear() can be read.
FILE *files_sink();
std::string_view files_sink_text();
void files_sink_clear();

#endif
