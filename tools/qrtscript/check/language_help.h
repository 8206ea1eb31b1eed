// What statements do and identifiers stand for, in a sentence each: those of docs/language.md, in English as there.
#ifndef TOOLS_QRTSCRIPT_CHECK_LANGUAGE_HELP_H
#define TOOLS_QRTSCRIPT_CHECK_LANGUAGE_HELP_H

#include <string_view>
#include <vector>

// Of the statement that begins with the keyword or sign; empty for what begins none.
std::string_view statement_sentence(std::string_view keyword);

// Of an identifier in any letter case; names that the language does not know are attributes of the user.
std::string_view identifier_sentence(std::string_view name);

#endif
