// Where secrets stand in the lines of scripts: the passwords of TREE and ATTACH, and the values of variables whose
// names suggest one (secret_names.h). It does not matter whether a login reads the line, or has come to it.
#ifndef TOOLS_QRTSCRIPT_SECRET_LINES_H
#define TOOLS_QRTSCRIPT_SECRET_LINES_H

#include <string>
#include <string_view>
#include <vector>

// From `begin` to before `end` of the line.
struct SecretPart {
    size_t begin, end;
    bool isValue; // the secret itself; otherwise what a condition compares it with
};

// The parts of a line without its line end, in their order and apart from each other. `isUnread`: a login cannot read
// the line, or that is not known: what may be a mistyped TREE, ATTACH or SET counts too.
std::vector<SecretPart> secret_parts(std::string_view line, bool isUnread);

// Where statements begin in the line: at its first letter, and behind each THEN.
std::vector<size_t> secret_statement_starts(std::string_view line);
// The word of letters, digits and "_" at a place; empty where there is none.
std::string_view secret_word(std::string_view line, size_t at);

#endif
