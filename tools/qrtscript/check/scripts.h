// The scripts that a check is asked for.
#ifndef TOOLS_QRTSCRIPT_CHECK_SCRIPTS_H
#define TOOLS_QRTSCRIPT_CHECK_SCRIPTS_H

#include <string>
#include <vector>

// The names of the files that `input` stands for: itself, or the *.qrt files in and below a folder in the order of
// their names. Symbolic links to folders are not followed. Throws std::system_error.
std::vector<std::string> script_files(const std::string &input);

// The text of a file, or of standard input for "-". Throws std::system_error, also for one that is no regular file or
// pipe, or is larger than 64 MiB.
std::string script_text(const std::string &name);

#endif
