// The words for what export and import do with each file or object, one below the other.
#ifndef TOOLS_QRTSCRIPT_OBJECT_ACTION_H
#define TOOLS_QRTSCRIPT_OBJECT_ACTION_H

#include <string>

enum class Action { add, change, remove, stale };

// Shows a line of standard output about a file or an object.
void action_show(Action action, const std::string &what);

#endif
