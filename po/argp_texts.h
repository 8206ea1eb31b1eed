// What the C library's argp says by itself: it looks these up in the domain of the program that uses it. Nothing
// includes this file; it is read for the template alone, so that --help is in one language throughout.
#include "platform/catalogue.h"

inline constexpr const char *argp_texts[] = {
    catalogue_mark("Usage:"),
    catalogue_mark("  or: "),
    catalogue_mark(" [OPTION...]"),
    catalogue_mark("Give this help list"),
    catalogue_mark("Give a short usage message"),
    catalogue_mark("Print program version"),
    // TRANSLATORS: the value of --program-name in the help
    catalogue_mark("NAME"),
    catalogue_mark("Set the program name"),
    // TRANSLATORS: the value of --HANG in the help: seconds
    catalogue_mark("SECS"),
    catalogue_mark("Hang for SECS seconds (default 3600)"),
    catalogue_mark(
        "Mandatory or optional arguments to long options are also mandatory or optional for any corresponding "
        "short options."),
    // xgettext:c-format
    catalogue_mark("%s: Too many arguments\n"),
    // xgettext:c-format
    catalogue_mark("Try `%s --help' or `%s --usage' for more information.\n"),
};
