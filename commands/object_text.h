// The text behind a directory object's name in DISPLAY and INCLUDE: its login script, or else a file of that name.
#ifndef COMMANDS_OBJECT_TEXT_H
#define COMMANDS_OBJECT_TEXT_H

#include "base/text.h"

// The login script of the object `name`, which is relative to the current context unless it begins with ".". Failing
// that the file `name` as it is written. Failing both it says so and the result is null.
OwnedText object_text(const char *name);

#endif
