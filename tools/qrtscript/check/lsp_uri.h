// Files as an editor names them: "file:///home/jane/a%20b.qrt".
#ifndef TOOLS_QRTSCRIPT_CHECK_LSP_URI_H
#define TOOLS_QRTSCRIPT_CHECK_LSP_URI_H

#include <string>
#include <string_view>

// The path of a file on this machine; empty for every other URI.
std::string uri_path(std::string_view uri);

std::string uri_of_path(std::string_view path);

#endif
