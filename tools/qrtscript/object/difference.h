// Differences of scripts, as diff(1) shows them, and a merge of two changes.
#ifndef TOOLS_QRTSCRIPT_OBJECT_DIFFERENCE_H
#define TOOLS_QRTSCRIPT_OBJECT_DIFFERENCE_H

#include <optional>
#include <string>

#include "tools/qrtscript/object/private_folder.h"
#include "tools/qrtscript/unified_diff.h"

// The unified difference, as it is; empty for the same text. All throw Failure.
std::string difference(const NamedText &before, const NamedText &after);

// Writes it to standard output: on a terminal in colours, unless NO_COLOR is set, and with nothing that the terminal
// would obey.
void difference_show(const std::string &text);

struct Merged {
    std::string text;
    bool hasConflicts; // both change the same lines: marked in the text, which is no script then
};

// What `mine` and `theirs` change in `base`, by git or by diff3. Nothing when neither is there.
std::optional<Merged> merge(const NamedText &mine, const NamedText &base, const NamedText &theirs,
                            const PrivateFolder &folder);

#endif
