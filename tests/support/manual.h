// What the manuals give to type.
#ifndef TESTS_SUPPORT_MANUAL_H
#define TESTS_SUPPORT_MANUAL_H

#include <string>

// The block behind a document's line "<!-- tried: NAME -->", in that language ("" for none). Throws runtime_error.
std::string manual_block(const std::string &document, const std::string &name, const std::string &language);

// Throws runtime_error when it is not there.
std::string replaced_once(std::string text, const std::string &from, const std::string &to);

#endif
