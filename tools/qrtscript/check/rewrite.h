// Writes files as a whole: whoever reads one sees its old text or the new one.
#ifndef TOOLS_QRTSCRIPT_CHECK_REWRITE_H
#define TOOLS_QRTSCRIPT_CHECK_REWRITE_H

#include <string>

// Puts `after` in the place of `before`, a file's text, keeping its mode, owner and extended attributes; of a symbolic
// link the file that it leads to is rewritten. Throws std::system_error, EBUSY when the file's text is another one by
// now.
void file_rewrite(const std::string &name, const std::string &before, const std::string &after);

// Writes a file that may be there or not: one that is there as file_rewrite does, a new one with the usual mode. Throws
// std::system_error.
void file_write(const std::string &name, const std::string &before, const std::string &text);

#endif
