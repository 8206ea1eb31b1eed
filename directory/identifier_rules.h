// The rules that give the identifiers of the script language (%LOGIN_NAME, %GREETING_TIME, ...) their values. A new
// identifier is one row in `itable` (identifiers.cpp), which maps its name to a code, and one row in the table of
// rules.
#ifndef DIRECTORY_IDENTIFIER_RULES_H
#define DIRECTORY_IDENTIFIER_RULES_H

#include <cstdint>
#include <string>

// What an identifier is asked for.
struct IdentifierRequest {
    uint32_t handle;
    const char *object; // whose attributes count; null when there is none
};

// The value of the identifier with that code. False, and `value` unchanged, when there is none.
bool identifier_rules_value(const IdentifierRequest &request, uint32_t code, std::string &value);

#endif
