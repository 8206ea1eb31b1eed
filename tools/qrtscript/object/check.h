// What `qrtscript check` says of a script before it is written.
#ifndef TOOLS_QRTSCRIPT_OBJECT_CHECK_H
#define TOOLS_QRTSCRIPT_OBJECT_CHECK_H

#include <string>
#include <vector>

// Runs the check over files that are to be scripts of objects; it reports to standard error. Empty when it finds no
// error, otherwise why the scripts are not to be written.
std::string check_refusal(const std::vector<std::string> &files);

// The same of one file, which the report calls `name`.
std::string check_refusal_named(const std::string &name, const std::string &file);

// The same of one text: `name` is its file's or its object's.
std::string check_refusal_of(const std::string &name, const std::string &text);

#endif
