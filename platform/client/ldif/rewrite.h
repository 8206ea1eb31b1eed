// Changes one value in the text of an LDIF file and leaves every other byte of it as it is: comments, the order, how
// lines are folded, how other values are written.
#ifndef PLATFORM_CLIENT_LDIF_REWRITE_H
#define PLATFORM_CLIENT_LDIF_REWRITE_H

#include <optional>
#include <string>
#include <string_view>

struct LdifChange {
    size_t record;                    // where the record begins, in bytes, as in LdifPlace
    unsigned line;                    // of the file, where the record begins
    unsigned attributeLine;           // where the value's line begins; for a further value the line to put it after
    bool isFurther;                   // the record has no such value yet
    std::string_view attribute;       // by this name
    std::optional<std::string> value; // nothing: the line goes
};

// The text with the change. A new value stands as it is where LDIF allows that, otherwise in base64, in lines of at
// most 76 bytes with the line ends of those around it.
std::string ldif_rewritten(std::string_view text, const LdifChange &change);

#endif
