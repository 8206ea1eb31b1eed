// How the text of a script ends. A login reads a line end behind the script of each object; a directory may keep it
// without one, files have it.
#ifndef TOOLS_QRTSCRIPT_OBJECT_LINE_END_H
#define TOOLS_QRTSCRIPT_OBJECT_LINE_END_H

#include <string>
#include <utility>

// The text as a file has it: with the end of its last line, of the kind that the others have.
inline std::string text_with_line_end(std::string text) {
    if (text.empty() || text.back() == '\n') return text;
    const bool hasReturns = text.back() != '\r' && text.find("\r\n") != text.npos;
    return std::move(text) + (hasReturns ? "\r\n" : "\n");
}

#endif
