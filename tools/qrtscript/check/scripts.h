// The scripts that a check is asked for.
#ifndef TOOLS_QRTSCRIPT_CHECK_SCRIPTS_H
#define TOOLS_QRTSCRIPT_CHECK_SCRIPTS_H

#include <functional>
#include <string>
#include <vector>

// What could not be read, and why: a message of one line.
using Problems = std::vector<std::string>;

// The names of the files that `input` stands for: itself, or the *.qrt files in and below a folder in the order of
// their names. Symbolic links to folders are not followed. Files and folders that `excluded` says true of are left out,
// but not `input` itself. A folder that cannot be read becomes a problem.
std::vector<std::string> script_files(const std::string &input,
                                      const std::function<bool(const std::string &)> &excluded, Problems *problems);

// The text of a file, or of standard input for "-". Throws std::runtime_error with name and reason, also for a name
// that is no regular file's, and for more than 64 MiB.
std::string script_text(const std::string &name);

#endif
