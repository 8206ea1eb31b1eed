// What each subcommand does. All return the exit status, and throw Failure.
#ifndef TOOLS_QRTSCRIPT_OBJECT_COMMANDS_H
#define TOOLS_QRTSCRIPT_OBJECT_COMMANDS_H

#include "tools/qrtscript/object/options.h"

int command_get(const ObjectOptions &options);
int command_put(const ObjectOptions &options);
int command_edit(const ObjectOptions &options);
int command_diff(const ObjectOptions &options);
int command_log(const ObjectOptions &options);
int command_export(const ObjectOptions &options);
int command_import(const ObjectOptions &options);

#endif
