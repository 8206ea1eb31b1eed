// What the parser has against a line, in words that an administrator knows.
#ifndef TOOLS_QRTSCRIPT_PLAN_MISTAKE_TEXT_H
#define TOOLS_QRTSCRIPT_PLAN_MISTAKE_TEXT_H

#include <string>
#include <string_view>

// `message` is the parser's, `read` the line from its first letter up to where the parser has come.
std::string mistake_text(std::string_view message, std::string_view read);

#endif
