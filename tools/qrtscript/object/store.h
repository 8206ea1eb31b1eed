// How a script gets into the directory: checked, shown, agreed to, the former one kept.
#ifndef TOOLS_QRTSCRIPT_OBJECT_STORE_H
#define TOOLS_QRTSCRIPT_OBJECT_STORE_H

#include "tools/qrtscript/object/difference.h"
#include "tools/qrtscript/object/session.h"

// What the script of an object is called in a difference.
NamedText store_named(const ScriptObject &object, const ScriptText &text);

// Shows what would change.
void store_show(const ScriptObject &object, const ScriptText &before, const NamedText &after);

// Keeps the former script where the options say so, and writes the new one. Throws Failure.
void store_write(const TreeSession &session, const ObjectOptions &options, const ScriptObject &object,
                 const ScriptText &before, const ScriptText &after);

// Tells, with --verbose, which object it is and where its script is.
void store_tell(const ObjectOptions &options, const ScriptObject &object, const StoredScript &stored);

// Says something on standard error in the name of the subcommand.
void store_say(const ObjectOptions &options, const std::string &text);

#endif
