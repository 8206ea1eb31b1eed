// Passwords in scripts, which no report may show: one that a pipeline writes is read by many.
#ifndef TOOLS_QRTSCRIPT_CHECK_SECRETS_H
#define TOOLS_QRTSCRIPT_CHECK_SECRETS_H

#include <string>
#include <string_view>

// A text of as many bytes with "*" in the place of what stands behind the ";" of TREE and ATTACH, up to the line's end.
// It does not matter whether the line can be read.
std::string secrets_masked(std::string_view text);

#endif
