// The values of the small configuration files, login.conf, map.conf and slp.conf.
//
//     file    := { line }
//     line    := comment | pair                     a last line without "\n" is not read
//     comment := ("#" | ";") text "\n"
//     pair    := key "=" { " " | "\t" } value [ "=" text ] "\n"
//
// A pair answers for every key whose text occurs anywhere in the line, so "MY_DEBUG_LEVEL=7" answers for
// "debug_level"; the first such line wins. The value keeps its trailing blanks and ends at a second "=".
//
// A value that does not fit is answered with its length as text, which may fill the buffer to its last byte: then no
// NUL follows.
#ifndef PLATFORM_COMMON_CONF_FILE_H
#define PLATFORM_COMMON_CONF_FILE_H

#include <cstdint>

// Lines are read in pieces of this size, NUL included. The pieces of a longer line count as lines of their own, of
// which only the last ends in a line feed.
inline constexpr int conf_line_size = 512;

// Room for a file's path, NUL included. A file with a longer path counts as one that cannot be opened.
inline constexpr int conf_path_size = 256;

// What qrtGetConfValue returns.
enum ConfResult : uint32_t {
    conf_found = 0,
    conf_no_key = 10,
    conf_no_file_name = 11,
    conf_section = 12,
    conf_empty_key = 13,
    conf_no_space = 14,
    conf_no_file = 15,
    conf_too_long = 16
};

// qrtGetConfValue and parseLineForKeyValue of qrtscript.h, whose contracts stand there.
ConfResult conf_value(const char *fileName, const char *section, const char *key, char *value, int valueSize);
int conf_line_value(char *line, const char *key, char *value, int valueSize);

#endif
