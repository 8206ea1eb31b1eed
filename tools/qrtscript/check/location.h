// Where a finding is, in the ways in which the formats of reports count.
#ifndef TOOLS_QRTSCRIPT_CHECK_LOCATION_H
#define TOOLS_QRTSCRIPT_CHECK_LOCATION_H

#include "tools/qrtscript/check/finding.h"

// All are counted from 1; the end is the place behind the last byte or character, never behind a line's end. A byte
// that is not valid UTF-8 counts as one character.
struct LinePlace {
    size_t line = 1, byteColumn = 1, column = 1;
    size_t endLine = 1, endByteColumn = 1, endColumn = 1;
};

// The locations of a script's findings, quickest in the order of their places: a line is counted once.
class Locations {
  public:
    explicit Locations(const Lines &lines) : lines_(lines) {}
    LinePlace of(const Finding &finding);

  private:
    struct Place {
        size_t line, byteColumn, column;
    };
    Place place(size_t line, size_t bytes);

    const Lines &lines_;
    Place counted_ = {0, 1, 1}; // up to here
};

// A line for reports, its beginning of one that no person has written: it may have very many findings.
std::string_view line_for_report(const Lines &lines, size_t line);

// How many characters a text has.
size_t character_count(std::string_view text);

// How many columns of a terminal a text takes: two for a wide character, none for one that combines.
size_t column_count(std::string_view text);

// A text as valid UTF-8: U+FFFD takes the place of each byte that belongs to no character.
std::string utf8_text(std::string_view text);

#endif
