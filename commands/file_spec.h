// File specifications: what a script's notation for a network file yields.
//
// A specification's value is not a name but the whole text of the file, empty when there is none. The functions here
// run while the statement is parsed and regardless of the conditional level: a file named in a skipped branch is still
// looked up, and its message still written. That is required.
//
//     VOLUME:path            on the default server; or a drive letter; or a volume or directory-map object
//     (".obj:path") SERVER/VOLUME:path     "/" and "\" are the same
//     \\SERVER\VOLUME\path
//     path                   in the directory of the current drive
#ifndef COMMANDS_FILE_SPEC_H
#define COMMANDS_FILE_SPEC_H

#include "base/text.h"

// The values of the forms above: the file's text, or an empty one after a message.
OwnedText file_on_volume(OwnedText volume, OwnedText path);
OwnedText file_on_server(OwnedText server, OwnedText volume, OwnedText path);
OwnedText file_plain(OwnedText path);
OwnedText file_unc(OwnedText server, OwnedText path);
// A name that begins with a dot on its own: accepted, nothing is read, the text is empty.
OwnedText file_dotted(OwnedText name, OwnedText path);

// The text behind the name of a directory object in DISPLAY and INCLUDE: its login script; the name is relative to the
// current context unless it begins with ".". Failing that the file `name` as it is written. Failing both it says so and
// the result is null.
OwnedText file_of_object(OwnedText name);

// Upper-cases a server's or volume's name in place (C locale).
OwnedText file_upper_case(OwnedText name);
// A path that begins with a word or a separator; `rest` is what follows on the line.
OwnedText path_after_word(OwnedText word, OwnedText rest);
OwnedText path_after_separator(OwnedText rest);

#endif
