// The script files that the command line names, looked at before anybody is logged in.
#ifndef TOOLS_QRTLOGIN_SCRIPT_FILE_H
#define TOOLS_QRTLOGIN_SCRIPT_FILE_H

#include <optional>
#include <string>

// Throws Failure unless the library will be able to read the file. Nothing, and the word that stands for the
// directory's own script, are fine.
void script_file_check(const std::optional<std::string> &path);

#endif
