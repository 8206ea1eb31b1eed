// How each statement is written, for messages and for help while one types.
#ifndef TOOLS_QRTSCRIPT_CHECK_FORMS_H
#define TOOLS_QRTSCRIPT_CHECK_FORMS_H

#include <string>
#include <string_view>
#include <vector>

// The form of the statement that begins with the keyword or sign, as "SET NAME = TEXT"; several are separated by " | ".
// Empty for what begins no statement.
std::string_view statement_form(std::string_view keyword);

// The keywords and signs that begin statements.
std::vector<std::string_view> statement_keywords();

#endif
