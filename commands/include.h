// INCLUDE: splices a text into the script that runs, so that its lines are read next.
#ifndef COMMANDS_INCLUDE_H
#define COMMANDS_INCLUDE_H

#include "base/text.h"

// INCLUDE of a file, whose text the file specification has yielded.
void include_text(OwnedText text);
// INCLUDE of a directory object: its login script, or else a file of that name.
void include_object(OwnedText name);

#endif
