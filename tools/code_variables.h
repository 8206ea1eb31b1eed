// The environment variables by which a script could make programs that start later run code.
#ifndef TOOLS_CODE_VARIABLES_H
#define TOOLS_CODE_VARIABLES_H

#include <string>

// True for a variable whose value a shell, an interpreter or the loader executes, or loads code from.
bool environment_runs_code(const std::string &name);

#endif
