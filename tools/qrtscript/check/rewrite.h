// A file's text in place of another, all at once.
#ifndef TOOLS_QRTSCRIPT_CHECK_REWRITE_H
#define TOOLS_QRTSCRIPT_CHECK_REWRITE_H

#include <string>
#include <string_view>

// Replaces the text of the file, or of the one that a symbolic link leads to. Whoever reads it meanwhile gets one text
// or the other, whole. The new file has the owner, group and mode of the old one, and is on the disk when this returns.
// Throws std::system_error, the old text being there still; also with EPERM where the owner could not be kept, and
// with EBUSY where the file's text is not `before` any more.
void file_rewrite(const std::string &name, std::string_view before, std::string_view text);

#endif
