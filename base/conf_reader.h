// The reader of the client's small configuration files. Its two functions, qrtGetConfValue and parseLineForKeyValue,
// are exported and declared with their contract in qrtscript.h; the places of the files are base/places.h's.
//
//     file    := { line }
//     line    := comment | pair                     a last line without "\n" is not read
//     comment := ("#" | ";") text "\n"
//     pair    := key "=" { " " | "\t" } value [ "=" text ] "\n"
//
// A pair answers for every key whose text occurs anywhere in the line, so "MY_DEBUG_LEVEL=7" answers for
// "debug_level"; the first such line wins. The value keeps its trailing blanks and ends at a second "=".
//
// A value that does not fit is answered with QRT_CONF_TOO_LONG and its length as text, which may fill the buffer to its
// last byte: then no NUL follows.
#ifndef BASE_CONF_READER_H
#define BASE_CONF_READER_H

#include "qrtscript.h"

// Lines are read in pieces of this size, NUL included. The pieces of a longer line count as lines of their own, of
// which only the last ends in a line feed.
inline constexpr int conf_line_size = 512;

// Room for a file's path, NUL included. A file with a longer path counts as one that cannot be opened.
inline constexpr int conf_path_size = 256;

#endif
